// The marrowline-host program as a function, so that tests can run it in
// process: parse the command line, read the picture, load the plug-in, run
// it, write the result. Messages go to stderr, one line each.
#pragma once

#include <string>
#include <vector>

#include "pihost/host_services.h"

struct ScriptKey;

// Exit statuses.
constexpr int kExitSuccess = 0;
constexpr int kExitPluginError = 1;  // the result word was not 0
constexpr int kExitUsage = 2;        // bad command line or values
constexpr int kExitFile = 3;         // a file or the module could not be read or written

int runHostProgram(int argc, const char* const* argv);

// The lines of --record: "KEY TYPE VALUE", TYPE enum, int or bool, an enum
// value as its four characters.
std::string descriptorRecordText(const std::vector<DescriptorItem>& items);

// The descriptor item that carries a parameter's value, typed by its key: an
// enumeration number as its code (<NO> out of range), a boolean as the low
// byte of the value, as the plug-in records it.
DescriptorItem descriptorItemOfValue(const ScriptKey& key, int32_t value);
