// The Windows module, as built, carries the PiPL and AETE that the tables
// give: its PE resource tree is walked here (type by name, id 16000,
// language 1033) and the bytes compared. Skipped when the Windows build has
// not been made.
#include <gtest/gtest.h>

#include "resources/resource_bytes.h"
#include "tests/scripting/module_image.h"

using namespace module_image;

TEST(ModuleResources, WindowsModuleCarriesTheTables) {
  Image pe;
  pe.bytes = readWholeFile(ML_WIN64_MODULE);
  if (pe.bytes.empty()) GTEST_SKIP() << "no Windows module at " << ML_WIN64_MODULE;
  EXPECT_TRUE(moduleResource(pe, "PIPL", 0, 16000, 1033) == buildPiPL());
  EXPECT_TRUE(moduleResource(pe, "AETE", 0, 16000, 1033) == buildAETE());
  EXPECT_TRUE(pe.ok);
}
