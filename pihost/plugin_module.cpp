#include "pihost/plugin_module.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#include <unistd.h>
#endif

#include <vector>

namespace {

std::string folderOf(const std::string& path) {
  const size_t slash = path.find_last_of("/\\");
  return slash == std::string::npos ? std::string(".") : path.substr(0, slash);
}

}  // namespace

#if defined(_WIN32)

const char* pluginModuleFileName() { return "Marrowline.8bf"; }

std::string defaultPluginPath() {
  std::vector<char> buffer(32768);
  const DWORD length = GetModuleFileNameA(nullptr, buffer.data(), DWORD(buffer.size()));
  const std::string program = (length > 0 && length < buffer.size()) ? std::string(buffer.data(), length) : ".";
  return folderOf(program) + "\\" + pluginModuleFileName();
}

bool loadPluginModule(const std::string& path, PluginModule* module, std::string* error) {
  HMODULE library = LoadLibraryA(path.c_str());
  if (!library) {
    *error = "cannot load the plug-in " + path + " (error " + std::to_string(GetLastError()) + ")";
    return false;
  }
  FARPROC entry = GetProcAddress(library, kPluginEntryName);
  if (!entry) {
    FreeLibrary(library);
    *error = "the module " + path + " has no entry PluginMain";
    return false;
  }
  module->library = library;
  module->entry = reinterpret_cast<PluginEntryProc>(reinterpret_cast<void*>(entry));
  return true;
}

void unloadPluginModule(PluginModule* module) {
  if (module->library) FreeLibrary(static_cast<HMODULE>(module->library));
  module->library = nullptr;
  module->entry = nullptr;
}

#else

const char* pluginModuleFileName() { return "Marrowline.so"; }

std::string defaultPluginPath() {
  std::vector<char> buffer(4096);
  const ssize_t length = readlink("/proc/self/exe", buffer.data(), buffer.size() - 1);
  const std::string program = length > 0 ? std::string(buffer.data(), size_t(length)) : ".";
  return folderOf(program) + "/" + pluginModuleFileName();
}

bool loadPluginModule(const std::string& path, PluginModule* module, std::string* error) {
  // A bare name would make dlopen search the library path; a module is a file.
  const std::string file = path.find('/') == std::string::npos ? "./" + path : path;
  void* library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!library) {
    const char* reason = dlerror();
    *error = "cannot load the plug-in " + path + (reason ? std::string(": ") + reason : std::string());
    return false;
  }
  void* entry = dlsym(library, kPluginEntryName);
  if (!entry) {
    dlclose(library);
    *error = "the module " + path + " has no entry PluginMain";
    return false;
  }
  module->library = library;
  module->entry = reinterpret_cast<PluginEntryProc>(entry);
  return true;
}

void unloadPluginModule(PluginModule* module) {
  if (module->library) dlclose(module->library);
  module->library = nullptr;
  module->entry = nullptr;
}

#endif
