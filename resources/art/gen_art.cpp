// Draws the dialog's bitmaps, icons and cursors into OUTPUT_DIR/art/ and
// writes OUTPUT_DIR/art.rc, which names each file by its resource number.
// With --pictures it also writes dialog.bmp and icons.bmp there, the
// pictures of the README.
// Files whose bytes did not change are left alone, so the resource compiler
// does not run again for nothing.
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "resources/art/art_pieces.h"
#include "resources/art/art_preview.h"
#include "resources/generated_files.h"

int main(int argc, char** argv) {
  const bool pictures = argc == 3 && std::string(argv[2]) == "--pictures";
  if (argc != 2 && !pictures) {
    std::fprintf(stderr, "usage: gen_art OUTPUT_DIR [--pictures]\n");
    return 2;
  }
  const std::string dir = argv[1];
  std::error_code error;
  std::filesystem::create_directories(dir + "/art", error);
  const std::vector<ArtPiece> art = drawAllArt();
  if (pictures) {
    const bool ok = writeFileIfChanged(dir + "/dialog.bmp", encodeBitmap(composeDialogPreview(art))) &&
                    writeFileIfChanged(dir + "/icons.bmp", encodeBitmap(composeIconSheet(art, 2)));
    if (!ok) std::fprintf(stderr, "gen_art: cannot write the pictures in %s\n", dir.c_str());
    if (!ok) return 1;
  }
  std::string rc = "// The dialog's art, drawn by gen_art. Do not edit.\nLANGUAGE 9, 1\n";
  for (const ArtPiece& piece : art) {
    const std::string file = dir + "/art/" + piece.name + "." + artExtension(piece.kind);
    if (!writeFileIfChanged(file, encodeArt(piece))) {
      std::fprintf(stderr, "gen_art: cannot write %s\n", file.c_str());
      return 1;
    }
    rc += std::to_string(piece.id) + " " + artResourceType(piece.kind) + " " + rcQuotedPath(file) + "\n";
  }
  if (!writeFileIfChanged(dir + "/art.rc", std::vector<uint8_t>(rc.begin(), rc.end()))) {
    std::fprintf(stderr, "gen_art: cannot write %s/art.rc\n", dir.c_str());
    return 1;
  }
  return 0;
}
