// Fuzz entry for marrowline-host's command line: any bytes, cut at each NUL
// into the arguments after the program's name. The parser must answer Run,
// Help or Error, with a message exactly when it is Error, and what it lets
// run must be something the host can play: each script key once, in the
// key table's order, and a selection that is a rectangle.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "session/terminology.h"
#include "pihost/host_options.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<std::string> words{"marrowline-host"};
  std::string word;
  for (size_t i = 0; i < size; ++i) {
    if (data[i] == 0) {
      words.push_back(word);
      word.clear();
    } else {
      word.push_back(static_cast<char>(data[i]));
    }
  }
  if (size > 0) words.push_back(word);
  if (words.size() > 64) return 0;  // the parser is linear; long lines only cost time
  std::vector<const char*> argv;
  for (const std::string& w : words) argv.push_back(w.c_str());

  HostOptions options;
  std::string error;
  const ParseOutcome outcome = parseHostOptions(static_cast<int>(argv.size()), argv.data(), &options, &error);
  if ((outcome == ParseOutcome::Error) != !error.empty()) __builtin_trap();
  if (outcome != ParseOutcome::Run) return 0;

  int lastIndex = -1;
  for (const DescriptorItem& item : options.descriptorItems) {
    int index = -1;
    for (int i = 0; i < SCRIPT_KEY_COUNT; ++i)
      if (scriptKeyAt(i)->key == item.key) index = i;
    if (index <= lastIndex) __builtin_trap();  // unknown, repeated or out of order
    lastIndex = index;
  }
  if (options.haveSelection &&
      (options.selectionLeft >= options.selectionRight || options.selectionTop >= options.selectionBottom))
    __builtin_trap();
  return 0;
}
