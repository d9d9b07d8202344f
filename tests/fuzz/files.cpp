#include "files.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

// Of the sanitizers' runtime where there is one.
extern "C" void __sanitizer_set_report_fd(void* fd) __attribute__((weak));

namespace mirl::fuzz {

namespace {

using Text = std::string;

/// The folder, and images of several formats as files hold them.
struct Folder {
  Folder()
      : path(std::filesystem::temp_directory_path() / ("mirl_fuzz." + std::to_string(getpid()))) {
    std::filesystem::create_directories(path);
    for (const char* name : {"a.png", "b.bmp", "c.jpg", "d.ppm", "e.pgm"}) {
      for (const MirlType type : {MIRL_8U_C1, MIRL_8U_C3, MIRL_16U_C3}) {
        MirlImage image(23, 11, type);
        std::vector<unsigned char> bytes(test::blockBytes(image));
        for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(i * i);
        image.upload(bytes.data());
        const Text file = path / name;
        if (io::saveImage(image, file) != MIRL_SUCCESS) continue;
        std::ifstream in(file, std::ios::binary);
        samples.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
      }
    }
    if (samples.empty()) samples.emplace_back("P5 3 2 255 \n123456");  // a build without files
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }

  std::filesystem::path path;
  std::vector<Text> samples;
};

Folder& folder() {
  static Folder made;
  return made;
}

}  // namespace

Text damagedFile(Draw& draw) {
  // Made on the host, before anything is made to fail.
  Folder& all = folder();
  const int kind = draw.upTo(24);
  if (kind == 0) return all.path;
  if (kind == 1) return all.path / "missing.png";
  if (kind == 2) return "";
  const int number = draw.upTo(static_cast<int>(all.samples.size()));
  Text bytes = all.samples[static_cast<std::size_t>(number)];
  // Where a bitmap tells its size nothing changes: a gigabyte of pixels proves nothing.
  const std::size_t from = bytes.starts_with("BM") ? 26 : 0;
  draw.tell(" file %d", number);
  for (int n = draw.upTo(6); n > 0; --n) {
    const auto at = from + draw.bits() % (bytes.size() - from);
    const int how = draw.upTo(16);
    if (how == 0) {
      bytes.resize(std::max<std::size_t>(at, from + 1));
      draw.tell(", cut at %zu", at);
    } else if (how == 1 && from == 0 && bytes[0] != 'P') {
      bytes.insert(at, 1 + draw.bits() % 9, static_cast<char>(draw.bits()));
      draw.tell(", longer at %zu", at);
    } else {
      bytes[at] =
          static_cast<char>(draw.chance(2) ? bytes[at] ^ 1 << draw.upTo(8) : draw.upTo(256));
      draw.tell(", byte %zu is %d", at, static_cast<unsigned char>(bytes[at]));
    }
  }
  const Text file = all.path / "damaged";
  std::ofstream(file, std::ios::binary) << bytes;
  return file;
}

Text newFile(Draw& draw) {
  static const char* const names[] = {"o.png", "o.bmp",    "o.jpg", "o.ppm", "o.pgm", "o.txt",
                                      "o",     "no/o.png", ".",     "",      "o.PNG", "o.tiff"};
  const Text name = names[draw.upTo(static_cast<int>(std::size(names)))];
  draw.tell(" to \"%s\"", name.c_str());
  return folder().path / name;
}

namespace {

int complaints() {
  static const int kept = [] {
    const int copy = dup(STDERR_FILENO);
    if (__sanitizer_set_report_fd != nullptr) {
      __sanitizer_set_report_fd(reinterpret_cast<void*>(static_cast<std::intptr_t>(copy)));
    }
    return copy;
  }();
  return kept;
}

}  // namespace

Quiet::Quiet() {
  complaints();
  static const int nowhere = open("/dev/null", O_WRONLY);
  dup2(nowhere, STDERR_FILENO);
}

Quiet::~Quiet() {
  std::fflush(stderr);
  dup2(complaints(), STDERR_FILENO);
}

}  // namespace mirl::fuzz
