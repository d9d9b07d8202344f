// The gallery: runs the library's operations on photos and writes what comes out as pictures, a
// contact sheet and a web page.

#include "exhibit.h"
#include "page.h"
#include "photos.h"
#include "sheet.h"
#include "shows.h"

#include <mirl/mirl.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

namespace gallery {
namespace {

constexpr const char* kUsage = "usage: mirl_gallery [--out FOLDER] [photo ...]";

struct Options {
  fs::path folder = "gallery";
  std::vector<std::string> photos;
  bool help = false;
};

Options parse(int count, char** arguments) {
  Options options;
  for (int i = 1; i < count; ++i) {
    const std::string argument = arguments[i];
    if (argument == "--help" || argument == "-h") {
      options.help = true;
    } else if (argument == "--out" && i + 1 < count) {
      options.folder = arguments[++i];
    } else if (argument.starts_with("--")) {
      throw std::runtime_error("unknown option " + argument + "; " + kUsage);
    } else {
      options.photos.push_back(argument);
    }
  }
  return options;
}

std::string deviceTitle() {
  const int device = mirl::device::getCurentDevice();
  MirlDeviceProperties properties{};
  check(mirl::device::getDeviceProperties(device, properties), "getDeviceProperties");
  const bool host = device == mirl::device::getDeviceCount() - 1;
  return std::string(properties.name) + ", " + std::to_string(properties.multiProcessorCount) +
         (host ? " threads" : " multiprocessors");
}

/// The subject that a show likes best; another one, in turn, where it isn't there.
const Subject& choose(const std::vector<Subject>& subjects, const Show& show, std::size_t turn) {
  for (const Subject& subject : subjects) {
    if (subject.name.starts_with(show.photo)) return subject;
  }
  return subjects[turn % subjects.size()];
}

std::string pictureName(std::size_t index, const char* stem) {
  char name[64];
  std::snprintf(name, sizeof name, "%03zu_%s.png", index + 1, stem);
  return name;
}

/// The pictures of an earlier run, which may have been more.
void removePictures(const fs::path& folder) {
  std::vector<fs::path> old;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    const bool numbered = name.find_first_not_of("0123456789") == 3 && name[3] == '_';
    if (numbered && entry.path().extension() == ".png") old.push_back(entry.path());
  }
  for (const fs::path& file : old) fs::remove(file);
}

void printTimes(const Exhibit& exhibit) {
  for (const Timing& timing : exhibit.timings) {
    const std::string size =
        std::to_string(timing.size.width) + "x" + std::to_string(timing.size.height);
    std::printf("%-16s %-24s %10s %9.3f %9.0f\n", exhibit.operation.c_str(), timing.types.c_str(),
                size.c_str(), timing.milliseconds, timing.megabytesPerSecond);
  }
}

/// Everything that is shown, its pictures written and its times printed. `complete` becomes false
/// if something couldn't be shown.
std::vector<Exhibit> showAll(const std::vector<Subject>& subjects, const fs::path& folder,
                             bool& complete) {
  const MirlStream stream(true);
  const fs::path files = folder / "files";
  fs::create_directories(files);
  removePictures(folder);
  std::vector<Exhibit> exhibits;
  const auto add = [&](Exhibit exhibit) {
    const std::string file = (folder / exhibit.file).string();
    if (mirl::io::saveImage(exhibit.picture, file) != MIRL_SUCCESS) {
      throw std::runtime_error("can't write " + file);
    }
    printTimes(exhibit);
    exhibits.push_back(std::move(exhibit));
  };

  for (const Subject& subject : subjects) {
    add({"Photos",
         subject.name,
         "as it was read",
         "",
         pictureName(exhibits.size(), "photo"),
         subject.photo,
         {}});
  }
  std::printf("%-16s %-24s %10s %9s %9s\n", "operation", "types", "size", "ms", "MB/s");
  std::size_t turn = 0;
  for (const Show& show : shows()) {
    const Subject& subject = choose(subjects, show, turn++);
    Stage stage(subject, stream, files);
    try {
      MirlImage picture = show.picture(stage);
      add({show.section, show.operation, show.caption, show.pair ? subject.pairName : subject.name,
           pictureName(exhibits.size(), show.operation), std::move(picture), stage.timings});
    } catch (const std::exception& problem) {
      complete = false;
      std::fprintf(stderr, "can't show %s (%s): %s\n", show.operation, show.caption,
                   problem.what());
    }
  }
  return exhibits;
}

int run(const Options& options) {
  if (options.help) {
    std::puts(kUsage);
    return 0;
  }
  const std::string title = deviceTitle();
  std::printf("device: %s\n", title.c_str());
  bool complete = true;
  const std::vector<Subject> subjects =
      readSubjects(options.photos.empty() ? defaultPhotos() : inTurn(options.photos), complete);
  if (subjects.empty())
    throw std::runtime_error("no photo to work on: install opencv-doc or name photos of your own");
  const std::vector<Exhibit> exhibits = showAll(subjects, options.folder, complete);
  writeContactSheet(exhibits, "mirl on " + title, (options.folder / "contact_sheet.png").string());
  writePage(exhibits, "On " + title, (options.folder / "index.html").string());
  std::printf("%zu pictures: %s\n", exhibits.size(),
              fs::absolute(options.folder / "index.html").lexically_normal().c_str());
  return complete ? 0 : 1;
}

}  // namespace
}  // namespace gallery

int main(int count, char** arguments) {
  try {
    return gallery::run(gallery::parse(count, arguments));
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "mirl_gallery: %s\n", problem.what());
    return 1;
  }
}
