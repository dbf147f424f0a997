#pragma once

#include <functional>

#include "desktop/core/GlibHandles.h"

namespace zelto::desktop {

// Calls a function once, later, unless it is started again or ends before. THREAD: the main context's.
class Timer {
 public:
  Timer() = default;
  ~Timer() { stop(); }
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

  void start(guint milliseconds, std::move_only_function<void()> function) {
    stop();
    function_ = std::move(function);
    source_ = g_timeout_add(milliseconds, fire, this);
  }
  void stop() {
    if (source_ != 0) g_source_remove(source_);
    source_ = 0;
  }

 private:
  static gboolean fire(gpointer self) {
    auto& timer = *static_cast<Timer*>(self);
    timer.source_ = 0;
    // The function may end this timer.
    auto function = std::move(timer.function_);
    function();
    return G_SOURCE_REMOVE;
  }

  guint source_ = 0;
  std::move_only_function<void()> function_;
};

}  // namespace zelto::desktop
