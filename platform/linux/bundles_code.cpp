#include <dlfcn.h>

#include <string>

#include "platform/bundles.h"

namespace cx::platform {
namespace {

class SharedObject final : public LoadedExecutable {
 public:
  explicit SharedObject(void* handle) : handle_(handle) {}
  ~SharedObject() override { dlclose(handle_); }
  SharedObject(const SharedObject&) = delete;
  SharedObject& operator=(const SharedObject&) = delete;

  void* function(std::string_view name) const override {
    return dlsym(handle_, std::string(name).c_str());
  }

 private:
  void* handle_;
};

// "Helper.bundle" -> "Helper": the executable is named after its bundle.
std::string executable_name(const std::string& bundle_path) {
  std::string name = bundle_path.substr(bundle_path.rfind('/') + 1);
  const auto dot = name.rfind('.');
  if (dot != std::string::npos && dot > 0) name.resize(dot);
  return name;
}

}  // namespace

std::unique_ptr<LoadedExecutable> Bundle::load_executable(std::string& error) const {
  const std::string file = path_ + "/Contents/MacOS/" + executable_name(path_) + ".so";
  // RTLD_LOCAL keeps two helpers' symbols apart; RTLD_NOW reports a missing
  // dependency here rather than at the first call.
  void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!handle) {
    const char* why = dlerror();
    error = why ? why : file + ": cannot be loaded";
    return nullptr;
  }
  error.clear();
  return std::make_unique<SharedObject>(handle);
}

}  // namespace cx::platform
