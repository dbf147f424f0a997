// For browsers that ask the plug-in for each file that they show, until they are told to ask again.
#include "desktop/core/Emblems.h"
#include "desktop/gtk/Extension.h"

namespace zelto::desktop {

struct Extension::Operation {
  Extension* extension;
  ObjectPointer<FileInfo> file;
  GClosure* complete;
  RequestId request;

  Operation(Extension* owner, FileInfo* info, GClosure* closure)
      : extension(owner), file(shared(info)), complete(g_closure_ref(closure)), request(0) {}
  ~Operation() { g_closure_unref(complete); }
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;

  OperationHandle* handle() { return reinterpret_cast<OperationHandle*>(this); }
};

OperationResult Extension::update(FileInfo* file, GClosure* complete, OperationHandle** handle) {
  const std::string path = pathOf(file);
  if (path.empty()) return BROWSER_CONSTANT(OPERATION_COMPLETE);
  show(file, path);
  if (const auto state = desktop_.known(path)) {
    apply(file, *state);
    return BROWSER_CONSTANT(OPERATION_COMPLETE);
  }
  auto* const operation = new Operation(this, file, complete);
  *handle = operation->handle();
  operation->request = desktop_.ask(path, [operation, path](const ItemState* state) {
    const std::unique_ptr<Operation> ending(operation);
    Extension& extension = *operation->extension;
    extension.apply(operation->file.get(), state);
    BROWSER(info_provider_update_complete_invoke)
    (operation->complete, reinterpret_cast<InfoProvider*>(extension.provider_), operation->handle(),
     BROWSER_CONSTANT(OPERATION_COMPLETE));
  });
  return BROWSER_CONSTANT(OPERATION_IN_PROGRESS);
}

void Extension::cancel(OperationHandle* handle) {
  const std::unique_ptr<Operation> operation(reinterpret_cast<Operation*>(handle));
  desktop_.cancel(operation->request);
}

void Extension::apply(FileInfo* file, const ItemState* state) {
  if (state == nullptr) return;
  for (const std::string& emblem : emblemsOf(*state)) BROWSER(file_info_add_emblem)(file, emblem.c_str());
}

void Extension::renewFile(FileInfo* file) { BROWSER(file_info_invalidate_extension_info)(file); }

void Extension::renewMenu() {
  menuIsShort_ = false;
  BROWSER(menu_provider_emit_items_updated_signal)(reinterpret_cast<MenuProvider*>(provider_));
}

}  // namespace zelto::desktop
