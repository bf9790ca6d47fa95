// Reading and writing the parameters through a small fake descriptor suite:
// defaults for absent keys, the code mapping, the two ignored hosts, the
// close errors, the dialog decision and the handle's disposal.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "entry/scripting.h"
#include "session/session.h"
#include "session/terminology.h"
#include "pi/plugin_interface.h"

namespace {

uint32_t codeOf(const char* t) {
  return (uint32_t(uint8_t(t[0])) << 24) | (uint32_t(uint8_t(t[1])) << 16) | (uint32_t(uint8_t(t[2])) << 8) |
         uint32_t(uint8_t(t[3]));
}

struct Item {
  uint32_t key;
  uint32_t type;  // typeInteger, typeBoolean or the enumeration type
  int32_t value;  // the number, the boolean, or the enumeration code
};

// State of the fake host; the procedures are plain C functions.
struct FakeHost {
  std::vector<Item> descriptor;  // what a read yields
  size_t next = 0;
  bool giveReadToken = true;
  OSErr closeError = noErr;
  int opens = 0, closes = 0;
  const DescriptorKeyID* keysGiven = nullptr;
  std::vector<Item> written;
  std::vector<Handle> disposed;
  char newDescriptorMark = 0;
} host;

char oldDescriptorMark = 0;
Handle oldDescriptor() { return reinterpret_cast<Handle>(&oldDescriptorMark); }
int token = 0;

PIReadDescriptor openRead(PIDescriptorHandle, DescriptorKeyIDArray keys) {
  ++host.opens;
  host.keysGiven = keys;
  host.next = 0;
  return host.giveReadToken ? &token : nullptr;
}
OSErr closeRead(PIReadDescriptor) {
  ++host.closes;
  return host.closeError;
}
Boolean getKey(PIReadDescriptor, DescriptorKeyID* key, DescType* type, int32_t* flags) {
  if (host.next >= host.descriptor.size()) return false;
  *key = host.descriptor[host.next].key;
  *type = host.descriptor[host.next].type;
  *flags = 0;
  ++host.next;
  return true;
}
const Item& current() { return host.descriptor[host.next - 1]; }
OSErr getInteger(PIReadDescriptor, int32_t* v) { return *v = current().value, noErr; }
OSErr getBoolean(PIReadDescriptor, Boolean* v) { return *v = Boolean(current().value), noErr; }
OSErr getEnumerated(PIReadDescriptor, DescriptorEnumID* v) { return *v = uint32_t(current().value), noErr; }

PIWriteDescriptor openWrite() { return &token; }
OSErr closeWrite(PIWriteDescriptor, PIDescriptorHandle* out) {
  *out = reinterpret_cast<Handle>(&host.newDescriptorMark);
  return noErr;
}
OSErr putInteger(PIWriteDescriptor, DescriptorKeyID k, int32_t v) { return host.written.push_back({k, typeInteger, v}), noErr; }
OSErr putBoolean(PIWriteDescriptor, DescriptorKeyID k, Boolean v) { return host.written.push_back({k, typeBoolean, v}), noErr; }
OSErr putEnumerated(PIWriteDescriptor, DescriptorKeyID k, DescriptorEnumTypeID t, DescriptorEnumID v) {
  return host.written.push_back({k, t, int32_t(v)}), noErr;
}

Handle newHandleProc(int32_t) { return nullptr; }
void disposeHandleProc(Handle h) { host.disposed.push_back(h); }
int32_t handleSize(Handle) { return 0; }
OSErr setHandleSize(Handle, int32_t) { return noErr; }

class ScriptDescriptor : public ::testing::Test {
 protected:
  void SetUp() override {
    host = FakeHost();
    // Every read entry must be set for the suite to count as usable.
    std::memset(&readProcs, 0, sizeof readProcs);
    void (**entries)() = reinterpret_cast<void (**)()>(&readProcs.openReadDescriptorProc);
    for (int i = 0; i < 18; ++i) entries[i] = reinterpret_cast<void (*)()>(&unusedProc);
    readProcs.numReadDescriptorProcs = 18;
    readProcs.openReadDescriptorProc = openRead;
    readProcs.closeReadDescriptorProc = closeRead;
    readProcs.getKeyProc = getKey;
    readProcs.getIntegerProc = getInteger;
    readProcs.getBooleanProc = getBoolean;
    readProcs.getEnumeratedProc = getEnumerated;
    std::memset(&writeProcs, 0, sizeof writeProcs);
    writeProcs.numWriteDescriptorProcs = 16;
    writeProcs.openWriteDescriptorProc = openWrite;
    writeProcs.closeWriteDescriptorProc = closeWrite;
    writeProcs.putIntegerProc = putInteger;
    writeProcs.putBooleanProc = putBoolean;
    writeProcs.putEnumeratedProc = putEnumerated;
    descriptorParameters = PIDescriptorParameters{};
    descriptorParameters.descriptor = oldDescriptor();
    descriptorParameters.readDescriptorProcs = &readProcs;
    descriptorParameters.writeDescriptorProcs = &writeProcs;
    handleProcs = HandleProcs{};
    handleProcs.handleProcsVersion = 1;
    handleProcs.numHandleProcs = 8;
    handleProcs.newProc = newHandleProc;
    handleProcs.disposeProc = disposeHandleProc;
    handleProcs.getSizeProc = handleSize;
    handleProcs.setSizeProc = setHandleSize;
    record = FilterRecord{};
    record.hostSig = codeOf("8BIM");
    record.handleProcs = &handleProcs;
    record.descriptorParameters = &descriptorParameters;
    result = 0;
    session = FilterSession{};
    session.result = &result;
    session.filterRecord = &record;
    // Values that are neither defaults nor script values.
    parameters = EdgeParameters{};
    for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) *scriptField(&parameters, *scriptKeyAt(i)) = 77;
    parameters.edgeSpare = 77;
    parameters.queryDialog = 5;
    session.parameters = &parameters;
  }
  static void unusedProc() {}

  ReadDescriptorProcs readProcs;
  WriteDescriptorProcs writeProcs;
  PIDescriptorParameters descriptorParameters;
  HandleProcs handleProcs;
  FilterRecord record;
  int16_t result;
  FilterSession session;
  EdgeParameters parameters;
};

TEST_F(ScriptDescriptor, OneKeyGivesItsValueAndDefaultsForTheRest) {
  host.descriptor = {{codeOf("EDky"), codeOf("EDty"), int32_t(codeOf("ED05"))}};
  readScriptParameters(&session);
  EXPECT_EQ(parameters.edgeStyle, 5);
  EXPECT_EQ(parameters.smoothing, 20);
  EXPECT_EQ(parameters.tweaker, 80);
  EXPECT_EQ(parameters.edgeExtent, 3);
  EXPECT_EQ(parameters.edgeSpare, 4);
  EXPECT_EQ(parameters.removeNoise, 1);
  EXPECT_EQ(parameters.glue, 1);
  EXPECT_EQ(parameters.queryDialog, 0);  // playInfo 0: run straight
  EXPECT_EQ(result, 0);
  // The key list is ours, ended by zero; the descriptor was disposed of.
  ASSERT_NE(host.keysGiven, nullptr);
  EXPECT_EQ(host.keysGiven[0], codeOf("EDky"));
  EXPECT_EQ(host.keysGiven[11], 0u);
  ASSERT_EQ(host.disposed.size(), 1u);
  EXPECT_EQ(host.disposed[0], oldDescriptor());
  EXPECT_EQ(descriptorParameters.descriptor, nullptr);
}

TEST_F(ScriptDescriptor, WrittenDescriptorReadsBackToTheSameParameters) {
  const int32_t values[] = {13, 0, 100, 2, 4, 1, 6, 359, 0, 62, 1};
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) *scriptField(&parameters, *scriptKeyAt(i)) = values[i];
  descriptorParameters.recordInfo = plugInDialogNone;
  writeScriptParameters(&session);

  const Item expected[] = {
      {codeOf("EDky"), codeOf("EDty"), int32_t(codeOf("ED13"))}, {codeOf("0002"), typeInteger, 0},
      {codeOf("0003"), typeInteger, 100},  {codeOf("EEky"), codeOf("EEty"), int32_t(codeOf("EE02"))},
      {codeOf("Esky"), codeOf("Esty"), int32_t(codeOf("Es04"))}, {codeOf("0006"), typeBoolean, 1},
      {codeOf("ECky"), codeOf("ECty"), int32_t(codeOf("EC06"))}, {codeOf("0008"), typeInteger, 359},
      {codeOf("0009"), typeBoolean, 0},    {codeOf("GLUE"), codeOf("GLty"), int32_t(codeOf("GL62"))},
      {codeOf("0011"), typeBoolean, 1},
  };
  ASSERT_EQ(host.written.size(), 11u);
  for (int i = 0; i < 11; ++i) {
    EXPECT_EQ(host.written[i].key, expected[i].key) << i;
    EXPECT_EQ(host.written[i].type, expected[i].type) << i;
    EXPECT_EQ(host.written[i].value, expected[i].value) << i;
  }
  EXPECT_EQ(descriptorParameters.recordInfo, plugInDialogOptional);
  EXPECT_EQ(descriptorParameters.descriptor, reinterpret_cast<Handle>(&host.newDescriptorMark));
  ASSERT_EQ(host.disposed.size(), 1u);  // the old descriptor, before the new one came
  EXPECT_EQ(host.disposed[0], oldDescriptor());

  // Played back, the recording gives the same parameters; glue stays 62.
  host.descriptor = host.written;
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) *scriptField(&parameters, *scriptKeyAt(i)) = 77;
  readScriptParameters(&session);
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) EXPECT_EQ(*scriptField(&parameters, *scriptKeyAt(i)), values[i]) << i;
}

TEST_F(ScriptDescriptor, OutOfRangeNumbersAndUnknownCodes) {
  parameters.edgeStyle = 14;
  parameters.glue = 0;
  writeScriptParameters(&session);
  ASSERT_EQ(host.written.size(), 11u);
  EXPECT_EQ(uint32_t(host.written[0].value), 0x3C4E4F3Eu);
  EXPECT_EQ(uint32_t(host.written[9].value), 0x3C4E4F3Eu);

  // An unknown code leaves 0; a boolean is widened to 0 or 1; unknown keys
  // are passed over.
  host.descriptor = {{codeOf("EDky"), codeOf("EDty"), int32_t(codeOf("ED14"))},
                     {codeOf("zzzz"), typeInteger, 5},
                     {codeOf("0006"), typeBoolean, 5},
                     {codeOf("GLUE"), codeOf("GLty"), int32_t(codeOf("GL61"))}};
  readScriptParameters(&session);
  EXPECT_EQ(parameters.edgeStyle, 0);
  EXPECT_EQ(parameters.colorize, 1);
  EXPECT_EQ(parameters.glue, 61);
  EXPECT_EQ(parameters.smoothing, 20);
}

TEST_F(ScriptDescriptor, HostsPSP8AndPSP9AreReadAsUnscripted) {
  for (const char* sig : {"PSP8", "PSP9"}) {
    record.hostSig = codeOf(sig);
    host.descriptor = {{codeOf("0002"), typeInteger, 3}};
    EXPECT_FALSE(scriptDataPresent(&session)) << sig;
    readScriptParameters(&session);
    EXPECT_EQ(host.opens, 0) << sig;
    EXPECT_EQ(parameters.smoothing, 77) << sig;
    EXPECT_EQ(parameters.queryDialog, 5) << sig;
    EXPECT_EQ(descriptorParameters.descriptor, oldDescriptor()) << sig;
  }
  // Writing is not affected.
  writeScriptParameters(&session);
  EXPECT_EQ(host.written.size(), 11u);
}

TEST_F(ScriptDescriptor, CloseErrorsAndTheDialogDecision) {
  host.closeError = errAEParamMissed;  // keys left unread: not an error here
  descriptorParameters.playInfo = plugInDialogDisplay;
  readScriptParameters(&session);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(parameters.queryDialog, 1);

  host.closeError = errAEDescNotFound;
  descriptorParameters.descriptor = oldDescriptor();
  descriptorParameters.playInfo = plugInDialogSilent;
  readScriptParameters(&session);
  EXPECT_EQ(result, errAEDescNotFound);
  EXPECT_EQ(parameters.queryDialog, 0);
  EXPECT_EQ(host.disposed.size(), 2u);
  EXPECT_EQ(descriptorParameters.descriptor, nullptr);
}

TEST_F(ScriptDescriptor, PresenceOpensAndClosesAtOnce) {
  host.descriptor = {{codeOf("0002"), typeInteger, 3}};
  EXPECT_TRUE(scriptDataPresent(&session));
  EXPECT_EQ(host.opens, 1);
  EXPECT_EQ(host.closes, 1);
  EXPECT_EQ(parameters.smoothing, 77);
  EXPECT_EQ(descriptorParameters.descriptor, oldDescriptor());

  // Without a token: not present; a read sets no defaults, disposes of
  // nothing, and still takes the dialog decision from playInfo.
  host.giveReadToken = false;
  descriptorParameters.playInfo = plugInDialogDisplay;
  EXPECT_FALSE(scriptDataPresent(&session));
  readScriptParameters(&session);
  EXPECT_EQ(parameters.smoothing, 77);
  EXPECT_EQ(parameters.queryDialog, 1);
  EXPECT_TRUE(host.disposed.empty());
}

TEST_F(ScriptDescriptor, IncompleteSuiteCountsAsNone) {
  readProcs.numReadDescriptorProcs = 17;
  EXPECT_FALSE(descriptorAvailable(&record));
  readScriptParameters(&session);
  writeScriptParameters(&session);
  EXPECT_EQ(host.opens, 0);
  EXPECT_TRUE(host.written.empty());
  EXPECT_EQ(parameters.queryDialog, 5);
}

TEST_F(ScriptDescriptor, WithoutHandleProcsTheHostKeepsItsHandle) {
  record.handleProcs = nullptr;
  readScriptParameters(&session);
  EXPECT_TRUE(host.disposed.empty());
  EXPECT_EQ(descriptorParameters.descriptor, nullptr);
}

}  // namespace
