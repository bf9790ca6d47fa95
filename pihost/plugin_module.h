// Loading the plug-in module at run time: dlopen natively, LoadLibraryA on
// Windows, and the exported entry "PluginMain".
#pragma once

#include <string>

#include "pi/plugin_interface.h"

struct PluginModule {
  void* library = nullptr;
  PluginEntryProc entry = nullptr;
};

// The module's file name on this platform: Marrowline.so or Marrowline.8bf.
const char* pluginModuleFileName();

// The module beside the running program.
std::string defaultPluginPath();

// False with a one-line reason.
bool loadPluginModule(const std::string& path, PluginModule* module, std::string* error);
void unloadPluginModule(PluginModule* module);
