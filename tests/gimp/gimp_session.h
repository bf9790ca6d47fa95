// GIMP sessions in a private profile, for the tests and the benchmark.
#pragma once

#include <string>
#include <vector>

struct GimpSession {
  std::string folder;
  int exitCode = -1;
  std::string log;  // GIMP's output
};

// Makes `folder` a private setting: a profile folder that does not exist yet
// (folder/profile), its own home, and the plug-in with the module beside it
// in folder/plug-ins, as ./run install-gimp installs them.
void prepareGimpFolder(const std::string& folder);

// One session of `program` (e.g. "gimp-console-2.10 --no-interface") in the
// prepared folder, running each batch command in turn and then quitting;
// `environment` is put before it ("NAME=value ..."). The output goes to
// folder/gimp.log and into `log`.
GimpSession runGimpSession(const std::string& folder, const std::string& environment, const std::string& program,
                           const std::vector<std::string>& commands);
