// File and path services: byte order on disk, the buffered writer's flush
// points, name surgery at its edges, and files that are never emptied unless
// asked.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "files/file_io.h"
#include "files/paths.h"

namespace {

std::string scratchPath(const char* name) {
  PathSpec path;
  tempFile(&path, "");
  return std::string(path.text) + "ml_files_test_" + name;
}

std::vector<uint8_t> fileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void writeFileBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

FileHandle openOrFail(const std::string& path, FileMode mode) {
  FileHandle file = INVALID_FILE_HANDLE;
  EXPECT_EQ(openFile(path.c_str(), &file, mode), FILE_OK) << path;
  return file;
}

std::string sep(const char* a, const char* b) { return std::string(a) + PLATFORM_SEPARATOR + b; }

}  // namespace

// --- byte order ------------------------------------------------------------

TEST(ByteOrder, IntegersGoHighByteFirstAndReadBack) {
  std::string path = scratchPath("order");
  std::remove(path.c_str());
  FileHandle file = openOrFail(path, OpenWrite);
  EXPECT_EQ(writeU8(0x1AB, file), FILE_OK);  // only the low byte
  EXPECT_EQ(writeU16(0x1234, file), FILE_OK);
  EXPECT_EQ(writeU32(0xDEADBEEF, file), FILE_OK);
  EXPECT_EQ(writeZeros(3, file), FILE_OK);
  EXPECT_EQ(writeZeros(-2, file), FILE_OK);
  EXPECT_EQ(writeText("8BPS", file), FILE_OK);
  EXPECT_EQ(writeText(nullptr, file), FILE_OPEN_FAILED);
  closeFile(file);
  std::vector<uint8_t> expected = {0xAB, 0x12, 0x34, 0xDE, 0xAD, 0xBE, 0xEF, 0, 0, 0, '8', 'B', 'P', 'S'};
  EXPECT_EQ(fileBytes(path), expected);

  file = openOrFail(path, OpenRead);
  uint8_t byte = 0;
  uint32_t word = 0;
  EXPECT_EQ(readU8(&byte, file), FILE_OK);
  EXPECT_EQ(byte, 0xAB);
  EXPECT_EQ(skipBytes(2, file), FILE_OK);
  EXPECT_EQ(readU32(&word, file), FILE_OK);
  EXPECT_EQ(word, 0xDEADBEEFu);
  EXPECT_EQ(skipBytes(0, file), FILE_OK);
  EXPECT_EQ(skipBytes(3, file), FILE_OK);
  EXPECT_EQ(readU32(&word, file), FILE_OK);
  EXPECT_EQ(word, 0x38425053u);
  // At the end: a short or empty read is reported, whatever lands in the word.
  EXPECT_EQ(readU32(&word, file), FILE_READ_FAILED);
  EXPECT_EQ(readU8(&byte, file), FILE_READ_FAILED);
  closeFile(file);
  std::remove(path.c_str());
}

TEST(ByteOrder, ShortReadsReportCountAndFailure) {
  std::string path = scratchPath("short");
  writeFileBytes(path, {1, 2, 3});
  FileHandle file = openOrFail(path, OpenRead);
  uint8_t buffer[8] = {};
  int32_t count = 8;
  EXPECT_EQ(readBytes(file, &count, buffer), FILE_READ_FAILED);
  EXPECT_EQ(count, 3);
  EXPECT_EQ(buffer[2], 3);
  closeFile(file);

  // Skipping past the end: pieces of 256, then single bytes; the last read's code.
  writeFileBytes(path, std::vector<uint8_t>(600, 7));
  file = openOrFail(path, OpenRead);
  EXPECT_EQ(skipBytes(599, file), FILE_OK);
  EXPECT_EQ(readU8(buffer, file), FILE_OK);
  EXPECT_EQ(buffer[0], 7);
  EXPECT_EQ(skipBytes(1, file), FILE_READ_FAILED);
  closeFile(file);
  std::remove(path.c_str());
}

// --- buffered writer -------------------------------------------------------

TEST(BufferedWriter, FlushesAtFourHundredAndOnRequest) {
  std::string path = scratchPath("writer");
  std::remove(path.c_str());
  FileHandle file = openOrFail(path, OpenWrite);
  BufferedWriter writer;
  initWriter(&writer, file);
  for (int i = 0; i < 399; ++i) putByte(static_cast<uint32_t>(i), &writer);
  EXPECT_EQ(writer.count, 399);
  EXPECT_TRUE(fileBytes(path).empty());
  putByte(0xFF, &writer);  // the 400th byte goes out at once
  EXPECT_EQ(writer.count, 0);
  EXPECT_EQ(fileBytes(path).size(), 400u);

  // A word and a long that straddle the boundary: low byte first, split.
  for (int i = 0; i < 399; ++i) putByte(0, &writer);
  putWord(0xA1B2, &writer);
  EXPECT_EQ(writer.count, 1);
  putLong(swap32(0x01020304u), &writer);  // big-endian by swapping first
  EXPECT_EQ(writer.count, 5);
  flushWriter(&writer);
  EXPECT_EQ(writer.count, 0);
  flushWriter(&writer);  // nothing pending: nothing written
  closeFile(file);

  std::vector<uint8_t> bytes = fileBytes(path);
  ASSERT_EQ(bytes.size(), 805u);
  EXPECT_EQ(bytes[0], 0);
  EXPECT_EQ(bytes[398], 142);  // 398 & 255
  EXPECT_EQ(bytes[399], 0xFF);
  EXPECT_EQ(bytes[799], 0xB2);
  EXPECT_EQ(bytes[800], 0xA1);
  EXPECT_EQ(bytes[801], 1);
  EXPECT_EQ(bytes[804], 4);
  std::remove(path.c_str());
}

// --- files -----------------------------------------------------------------

TEST(OpenFile, WriteModeKeepsOldBytesUntilTruncated) {
  std::string path = scratchPath("keep");
  writeFileBytes(path, std::vector<uint8_t>(100, 0x55));
  FileHandle file = openOrFail(path, OpenWrite);
  int32_t count = 10;
  std::vector<uint8_t> ten(10, 0xAA);
  EXPECT_EQ(writeBytes(file, &count, ten.data()), FILE_OK);
  EXPECT_EQ(count, 10);
  closeFile(file);
  std::vector<uint8_t> bytes = fileBytes(path);
  ASSERT_EQ(bytes.size(), 100u);
  EXPECT_EQ(bytes[0], 0xAA);  // written from position 0
  EXPECT_EQ(bytes[9], 0xAA);
  EXPECT_EQ(bytes[10], 0x55);

  file = openOrFail(path, OpenWrite);
  count = 10;
  EXPECT_EQ(writeBytes(file, &count, ten.data()), FILE_OK);
  EXPECT_EQ(truncateFile(file), FILE_OK);
  closeFile(file);
  EXPECT_EQ(fileBytes(path).size(), 10u);
  std::remove(path.c_str());
}

TEST(OpenFile, MissingFilesAndNullArguments) {
  std::string path = scratchPath("missing");
  std::remove(path.c_str());
  FileHandle file = INVALID_FILE_HANDLE;
  EXPECT_EQ(openFile(path.c_str(), &file, OpenRead), FILE_OPEN_FAILED);
  EXPECT_EQ(file, INVALID_FILE_HANDLE);
  EXPECT_EQ(openFile(nullptr, &file, OpenRead), FILE_OPEN_FAILED);
  EXPECT_EQ(openFile(path.c_str(), nullptr, OpenWrite), FILE_OPEN_FAILED);
  // Write mode makes the file when it is missing.
  file = openOrFail(path, OpenWrite);
  closeFile(file);
  std::vector<uint8_t> none = fileBytes(path);
  EXPECT_TRUE(none.empty());
  file = openOrFail(path, OpenRead);
  closeFile(file);
  std::remove(path.c_str());
  // A folder that does not exist.
  EXPECT_EQ(openFile(sep(scratchPath("no_such_folder").c_str(), "x").c_str(), &file, OpenWrite), FILE_OPEN_FAILED);
}

// --- paths -----------------------------------------------------------------

TEST(Paths, JoinAddsOneSeparatorAndRefusesOverlongResults) {
  PathSpec out;
  EXPECT_EQ(joinPath(&out, "folder", "name"), FILE_OK);
  EXPECT_EQ(std::string(out.text), sep("folder", "name"));
  joinPath(&out, "folder/", "name");
  EXPECT_STREQ(out.text, "folder/name");
  joinPath(&out, "folder\\", "name");
  EXPECT_STREQ(out.text, "folder\\name");
  joinPath(&out, "", "name");
  EXPECT_STREQ(out.text, "name");
  EXPECT_EQ(joinPath(&out, nullptr, "x"), PATH_NULL_ARGUMENT);

  // 255 + 10 + 1 exceeds the field: the empty path.
  std::string longFolder(255, 'f');
  setPath(&out, "not empty");
  joinPath(&out, longFolder.c_str(), "0123456789");
  EXPECT_STREQ(out.text, "");

  // Exactly full: 249 + separator + 9 + terminator = 260 bytes.
  std::string folder249(249, 'f');
  joinPath(&out, folder249.c_str(), "123456789");
  EXPECT_EQ(std::strlen(out.text), 259u);
  // One more byte would need 261 with the separator: refused, never overrun.
  std::string folder250(250, 'f');
  joinPath(&out, folder250.c_str(), "123456789");
  EXPECT_STREQ(out.text, "");

  // The folder may be the output's own record.
  setPath(&out, "base");
  joinPath(&out, out.text, "leaf");
  EXPECT_EQ(std::string(out.text), sep("base", "leaf"));
}

TEST(Paths, FolderAndNameSplitAtTheLastSeparator) {
  PathSpec out;
  std::string path = sep(sep("a", "b").c_str(), "c.q4t");
  folderOf(&out, path.c_str());
  EXPECT_EQ(std::string(out.text), sep("a", "b") + PLATFORM_SEPARATOR);
  fileNameOf(&out, path.c_str());
  EXPECT_STREQ(out.text, "c.q4t");
  folderOf(&out, "plain");
  EXPECT_STREQ(out.text, "plain");
  fileNameOf(&out, "plain");
  EXPECT_STREQ(out.text, "plain");
  std::string trailing = sep("dir", "");
  fileNameOf(&out, trailing.c_str());
  EXPECT_STREQ(out.text, "");
  EXPECT_EQ(folderOf(&out, nullptr), PATH_NULL_ARGUMENT);
  EXPECT_EQ(fileNameOf(nullptr, "x"), PATH_NULL_ARGUMENT);
}

TEST(Paths, ExtensionsCutAndFound) {
  char text[32];
  std::strcpy(text, "a.b.c");
  stripExtension(text);
  EXPECT_STREQ(text, "a.b");
  std::strcpy(text, "abc");
  stripExtension(text);
  EXPECT_STREQ(text, "abc");
  stripExtension(nullptr);

  PathSpec out;
  extensionOf(&out, "settings.q4t");
  EXPECT_STREQ(out.text, ".q4t");
  extensionOf(&out, "x");
  EXPECT_STREQ(out.text, "");
  extensionOf(&out, ".");  // shorter than 2 bytes
  EXPECT_STREQ(out.text, "");
  extensionOf(&out, "noext");
  EXPECT_STREQ(out.text, "");
  extensionOf(&out, "a.");
  EXPECT_STREQ(out.text, ".");

  setPath(&out, "page");
  EXPECT_TRUE(appendExtension(&out, ".html"));
  EXPECT_STREQ(out.text, "page.html");
  std::string full(255, 'n');
  setPath(&out, full.c_str());
  EXPECT_FALSE(appendExtension(&out, ".html"));  // 255 + 5 + 1 > 260
  EXPECT_EQ(std::strlen(out.text), 255u);
}

TEST(Paths, SanitizeAndUnderscore) {
  char text[32];
  std::strcpy(text, "a:b/c\\d");
  sanitizeName(text);
  EXPECT_STREQ(text, "a_b_c_d");

  // Control bytes to spaces; high bytes folded, with "." and separators replaced.
  unsigned char raw[] = {'x', 9, 0xC1, 0x8E, 0x8F, 0x9A, 0xBC, 0xFF, 0};
  sanitizeName(reinterpret_cast<char*>(raw));
  // 0xC1 -> 65+32='a'; 0x8E -> 14+32='.' -> '_'; 0x8F -> '/' -> '_';
  // 0x9A -> ':' -> '_'; 0xBC -> '\' -> '_'; 0xFF -> 127+32 = 159.
  unsigned char expected[] = {'x', ' ', 'a', '_', '_', '_', '_', 159, 0};
  EXPECT_EQ(std::memcmp(raw, expected, sizeof raw), 0);

  std::strcpy(text, "my preset one");
  underscoreSpaces(text);
  EXPECT_STREQ(text, "my_preset_one");
}

TEST(Paths, FindTextFoldsOnlyLatinLetters) {
  EXPECT_EQ(findText(".q4t", "My.Q4T.bak", true), 2);
  EXPECT_EQ(findText(".q4t", "My.Q4T.bak", false), -1);
  EXPECT_EQ(findText(".q4t", "old.q4t.bak", false), 3);
  EXPECT_EQ(findText("abc", "abc", false), 0);
  EXPECT_EQ(findText("c", "abc", false), 2);
  EXPECT_EQ(findText("abcd", "abc", true), -1);
  EXPECT_EQ(findText("", "abc", true), -1);
  EXPECT_EQ(findText("a", "", true), -1);
  EXPECT_EQ(findText(nullptr, "abc", true), -1);
  EXPECT_EQ(findText("a", nullptr, true), -1);
  // Case folding stops at A..Z: 0xE9 and 0xC9 stay different.
  EXPECT_EQ(findText("\xE9", "\xC9", true), -1);
  EXPECT_EQ(findText("[", "{", true), -1);
}

// --- folders -----------------------------------------------------------------

TEST(Folders, TempFileEndsInSeparatorAndFollowsTmpdir) {
  PathSpec out;
  tempFile(&out, "");
  size_t length = std::strlen(out.text);
  ASSERT_GT(length, 0u);
  EXPECT_EQ(out.text[length - 1], PLATFORM_SEPARATOR);

  tempFile(&out, "Marrowline cached settings C");
  EXPECT_EQ(findText("Marrowline cached settings C", out.text, false), static_cast<int32_t>(length));

#ifndef _WIN32
  const char* saved = std::getenv("TMPDIR");
  std::string keep = saved ? saved : "";
  setenv("TMPDIR", "/var/tmp", 1);
  tempFile(&out, "n");
  EXPECT_STREQ(out.text, "/var/tmp/n");
  setenv("TMPDIR", "/var/tmp/", 1);
  tempFile(&out, "n");
  EXPECT_STREQ(out.text, "/var/tmp/n");
  unsetenv("TMPDIR");
  tempFile(&out, "n");
  EXPECT_STREQ(out.text, "/tmp/n");
  if (saved) setenv("TMPDIR", keep.c_str(), 1);
#endif

  // An overlong name is cut to the field, never past it.
  std::string huge(400, 'z');
  tempFile(&out, huge.c_str());
  EXPECT_EQ(std::strlen(out.text), 259u);
}

TEST(Folders, MakeSubfolderCreatesOnceAndToleratesExisting) {
  PathSpec base;
  tempFile(&base, "");
  std::string name = "ml_files_test_web_images";
  PathSpec folder;
  EXPECT_EQ(makeSubfolder(&folder, base.text, name.c_str()), FILE_OK);
  EXPECT_EQ(std::string(folder.text), std::string(base.text) + name + PLATFORM_SEPARATOR);
  EXPECT_EQ(makeSubfolder(&folder, base.text, name.c_str()), FILE_OK);  // exists already

  PathSpec inside;
  joinPath(&inside, folder.text, "a.jpg");
  FileHandle file = openOrFail(inside.text, OpenWrite);
  closeFile(file);
  std::remove(inside.text);
  std::string bare(folder.text);
  bare.pop_back();
  std::remove(bare.c_str());

  EXPECT_EQ(makeSubfolder(nullptr, "a", "b"), PATH_NULL_SUBFOLDER);
  EXPECT_EQ(makeSubfolder(&folder, nullptr, "b"), PATH_NULL_SUBFOLDER);
  EXPECT_EQ(makeSubfolder(&folder, "a", nullptr), PATH_NULL_SUBFOLDER);
}
