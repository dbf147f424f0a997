#include "desktop/core/StatesReader.h"

#include "desktop/core/Answers.h"
#include "desktop/core/BusCall.h"

namespace zelto::desktop {
namespace {

constexpr std::size_t kShort = 64 * 1024;

struct Reading {
  std::string text;
  std::optional<std::vector<PathState>> states;
  StatesCompletion completion;
};

void read(GTask* task, gpointer, gpointer data, GCancellable*) {
  auto& reading = *static_cast<Reading*>(data);
  reading.states = statesOf(reading.text);
  g_task_return_boolean(task, TRUE);
}

void finished(GObject*, GAsyncResult* result, gpointer data) {
  const std::unique_ptr<Reading> reading(static_cast<Reading*>(data));
  GCancellable* const cancellable = g_task_get_cancellable(G_TASK(result));
  if (g_cancellable_is_cancelled(cancellable) == FALSE) reading->completion(std::move(reading->states));
}

}  // namespace

void readStates(VariantPointer reply, GCancellable& cancellable, StatesCompletion completion) {
  std::string text = textOf(reply);
  if (text.size() < kShort) {
    completion(statesOf(text));
    return;
  }
  auto reading = std::make_unique<Reading>(std::move(text), std::nullopt, std::move(completion));
  // The task's data stays until its callback has run, which is what ends the reading.
  GTask* const task = g_task_new(nullptr, &cancellable, finished, reading.get());
  g_task_set_task_data(task, reading.release(), nullptr);
  g_task_run_in_thread(task, read);
  g_object_unref(task);
}

}  // namespace zelto::desktop
