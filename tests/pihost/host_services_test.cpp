// The host's procedure suites as a plug-in sees them: descriptors written
// and read back, buffers with a failing size, handles.
#include <gtest/gtest.h>

#include "pihost/host_services.h"

namespace {

class HostServicesTest : public ::testing::Test {
 protected:
  void SetUp() override { hostServicesInit(&services); }
  void TearDown() override { hostServicesRelease(&services); }
  HostServices services;
};

TEST_F(HostServicesTest, DescriptorRoundTripThroughTheSuites) {
  WriteDescriptorProcs& w = services.writeDescriptorProcs;
  ASSERT_EQ(w.numWriteDescriptorProcs, 16);
  PIWriteDescriptor out = w.openWriteDescriptorProc();
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(w.putEnumeratedProc(out, fourCharCode("GLUE"), fourCharCode("GLty"), fourCharCode("GL62")), noErr);
  EXPECT_EQ(w.putIntegerProc(out, fourCharCode("0002"), -7), noErr);
  EXPECT_EQ(w.putBooleanProc(out, fourCharCode("0011"), 1), noErr);
  EXPECT_EQ(w.putIntegerProc(out, fourCharCode("0002"), 55), noErr);  // rewritten in place
  const double d = 1.0;
  EXPECT_EQ(w.putFloatProc(out, fourCharCode("flt "), &d), errPlugInHostInsufficient);
  PIDescriptorHandle handle = nullptr;
  ASSERT_EQ(w.closeWriteDescriptorProc(out, &handle), noErr);
  ASSERT_NE(handle, nullptr);

  std::vector<DescriptorItem> items;
  ASSERT_TRUE(descriptorItemsFromHandle(handle, &items));
  ASSERT_EQ(items.size(), 3u);
  EXPECT_EQ(items[1].value, 55);

  ReadDescriptorProcs& r = services.readDescriptorProcs;
  ASSERT_EQ(r.numReadDescriptorProcs, 18);
  DescriptorKeyID keys[] = {fourCharCode("0002"), fourCharCode("GLUE"), fourCharCode("0011"), 0};
  PIReadDescriptor in = r.openReadDescriptorProc(handle, keys);
  ASSERT_NE(in, nullptr);
  DescriptorKeyID key;
  DescType type;
  int32_t flags;
  ASSERT_TRUE(r.getKeyProc(in, &key, &type, &flags));
  EXPECT_EQ(key, fourCharCode("GLUE"));
  EXPECT_EQ(type, typeEnumerated);
  EXPECT_EQ(keys[1], typeNull);  // found keys are marked in the plug-in's list
  DescriptorEnumID code = 0;
  EXPECT_EQ(r.getEnumeratedProc(in, &code), noErr);
  EXPECT_EQ(code, fourCharCode("GL62"));
  ASSERT_TRUE(r.getKeyProc(in, &key, &type, &flags));
  int32_t value = 0;
  EXPECT_EQ(r.getIntegerProc(in, &value), noErr);
  EXPECT_EQ(value, 55);
  EXPECT_EQ(r.getPinnedIntegerProc(in, 0, 20, &value), noErr);
  EXPECT_EQ(value, 20);
  ASSERT_TRUE(r.getKeyProc(in, &key, &type, &flags));
  Boolean flag = 0;
  EXPECT_EQ(r.getBooleanProc(in, &flag), noErr);
  EXPECT_EQ(flag, 1);
  EXPECT_FALSE(r.getKeyProc(in, &key, &type, &flags));
  EXPECT_EQ(r.closeReadDescriptorProc(in), noErr);
}

TEST_F(HostServicesTest, ReadingReportsMissingKeysAndWrongTypes) {
  Handle handle = descriptorHandleFromItems({DescriptorItem{fourCharCode("EDky"), typeEnumerated,
                                                            fourCharCode("EDty"), int32_t(fourCharCode("ED01"))}});
  ReadDescriptorProcs& r = services.readDescriptorProcs;
  DescriptorKeyID keys[] = {fourCharCode("EDky"), fourCharCode("0002"), 0};
  PIReadDescriptor in = r.openReadDescriptorProc(handle, keys);
  DescriptorKeyID key;
  DescType type;
  int32_t flags;
  ASSERT_TRUE(r.getKeyProc(in, &key, &type, &flags));
  EXPECT_EQ(r.closeReadDescriptorProc(in), errAEParamMissed);  // '0002' stayed unread

  DescriptorKeyID again[] = {fourCharCode("EDky"), 0};
  in = r.openReadDescriptorProc(handle, again);
  ASSERT_TRUE(r.getKeyProc(in, &key, &type, &flags));
  int32_t value;
  EXPECT_EQ(r.getIntegerProc(in, &value), errAEWrongDataType);
  EXPECT_EQ(r.closeReadDescriptorProc(in), errAEWrongDataType);  // the last error wins

  EXPECT_EQ(r.openReadDescriptorProc(nullptr, again), nullptr);
  Handle foreign = hostNewHandle(3);  // not a descriptor
  EXPECT_EQ(r.openReadDescriptorProc(foreign, again), nullptr);
  EXPECT_EQ(r.closeReadDescriptorProc(reinterpret_cast<PIReadDescriptor>(&value)), paramErr);
}

TEST_F(HostServicesTest, AllocateFailsForExactlyTheChosenSize) {
  services.failAllocateSize = 4096;
  BufferProcs& b = services.bufferProcs;
  BufferID id = reinterpret_cast<BufferID>(1);
  EXPECT_EQ(b.allocateProc(4096, &id), memFullErr);
  EXPECT_EQ(id, nullptr);
  ASSERT_EQ(b.allocateProc(4095, &id), noErr);
  Ptr p = b.lockProc(id, 1);
  ASSERT_NE(p, nullptr);
  p[4094] = 1;
  EXPECT_EQ(services.liveBuffers.size(), 1u);
  b.unlockProc(id);
  b.freeProc(id);
  EXPECT_TRUE(services.liveBuffers.empty());
  b.freeProc(id);  // a second free of the same id is ignored
  EXPECT_EQ(b.lockProc(id, 0), nullptr);
  EXPECT_EQ(services.failedAllocations, 1);
  EXPECT_EQ(b.allocateProc(-1, &id), paramErr);
}

TEST_F(HostServicesTest, HandlesGrowKeepTheirContentAndAreDisposed) {
  HandleProcs& h = services.handleProcs;
  Handle handle = h.newProc(4);
  ASSERT_NE(handle, nullptr);
  Ptr p = h.lockProc(handle, 0);
  ASSERT_EQ(p, *handle);  // a plug-in may dereference the handle itself
  p[0] = 'x';
  EXPECT_EQ(h.setSizeProc(handle, 100000), noErr);
  EXPECT_EQ(h.getSizeProc(handle), 100000);
  EXPECT_EQ((*handle)[0], 'x');
  EXPECT_EQ((*handle)[99999], 0);
  h.disposeProc(handle);
  EXPECT_TRUE(services.liveHandles.empty());
  EXPECT_EQ(h.getSizeProc(handle), 0);
  char notOurs[16] = {};
  h.disposeProc(reinterpret_cast<Handle>(notOurs));  // left alone
}

TEST_F(HostServicesTest, AbortAnswersFromTheChosenCallOn) {
  services.cancelAfter = 2;
  EXPECT_FALSE(hostAbortProc());
  EXPECT_FALSE(hostAbortProc());
  EXPECT_TRUE(hostAbortProc());
  EXPECT_TRUE(hostAbortProc());
}

}  // namespace
