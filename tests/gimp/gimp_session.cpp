#include "tests/gimp/gimp_session.h"

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

void prepareGimpFolder(const std::string& folder) {
  namespace fs = std::filesystem;
  fs::create_directories(folder + "/home");
  fs::create_directories(folder + "/plug-ins/marrowline-gimp");
  for (const char* file : {"marrowline-gimp", "Marrowline.so"})
    fs::copy_file(std::string(ML_NATIVE_BIN) + "/" + file, folder + "/plug-ins/marrowline-gimp/" + file,
                  fs::copy_options::overwrite_existing);
  std::ofstream(folder + "/gimprc") << "(plug-in-path \"${gimp_plug_in_dir}/plug-ins:" << folder << "/plug-ins\")\n";
}

GimpSession runGimpSession(const std::string& folder, const std::string& environment, const std::string& program,
                           const std::vector<std::string>& commands) {
  GimpSession run;
  run.folder = folder;
  std::string command = "cd '" + folder + "' && HOME='" + folder + "/home' GIMP2_DIRECTORY='" + folder +
                        "/profile' GEGL_USE_OPENCL=no " + environment + " timeout 600 " + program +
                        " --no-data --no-fonts --gimprc '" + folder + "/gimprc'";
  for (const std::string& c : commands) command += " -b '" + c + "'";
  command += " -b '(gimp-quit 0)' >'" + folder + "/gimp.log' 2>&1";
  const int status = std::system(command.c_str());
  run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  std::ifstream in(folder + "/gimp.log");
  run.log.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return run;
}
