#include "photos.h"

#include "stage.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>

namespace fs = std::filesystem;

namespace gallery {
namespace {

/// What is written to stderr meanwhile: the codecs complain there.
template <class Work>
std::string complaints(const Work& work) {
  std::FILE* file = std::tmpfile();
  if (!file) {
    work();
    return "";
  }
  std::fflush(stderr);
  const int saved = dup(STDERR_FILENO);
  dup2(fileno(file), STDERR_FILENO);
  work();
  std::fflush(stderr);
  dup2(saved, STDERR_FILENO);
  close(saved);
  std::string text(static_cast<std::size_t>(std::max(0L, std::ftell(file))), '\0');
  std::rewind(file);
  text.resize(std::fread(text.data(), 1, text.size(), file));
  std::fclose(file);
  return text.substr(0, text.find('\n'));
}

/// Why a file that gave this status isn't a photo.
std::string reason(const std::string& file, MirlStatus status) {
  std::error_code error;
  if (fs::is_directory(file, error)) return "it is a directory";
  if (!std::ifstream(file).is_open()) return std::strerror(errno);
  if (fs::file_size(file, error) == 0) return "the file is empty";
  if (status == MIRL_INVALID_ARGUMENT) return "it is no image, or a damaged one";
  return mirl::statusMessage(status);
}

/// Reads a photo as the operations want it, or says in one line why it can't be read.
bool read(const std::string& file, Subject& subject) {
  subject.name = fs::path(file).filename().string();
  MirlStatus status = MIRL_SUCCESS;
  const std::string complaint =
      complaints([&] { status = subject.photo.create(file, MIRL_LOAD_COLOR); });
  if (status == MIRL_SUCCESS)
    complaints([&] { status = subject.gray.create(file, MIRL_LOAD_GRAYSCALE); });
  if (status == MIRL_SUCCESS) {
    if (!complaint.empty())
      std::fprintf(stderr, "note on %s: %s\n", file.c_str(), complaint.c_str());
    return true;
  }
  subject.photo.release();
  std::fprintf(stderr, "can't read %s: %s\n", file.c_str(), reason(file, status).c_str());
  return false;
}

/// The middle of an image, cut to a size.
MirlImage middle(const MirlImage& image, const MirlSize& size) {
  MirlImage cut;
  const MirlRect rect((image.width() - size.width) / 2, (image.height() - size.height) / 2,
                      size.width, size.height);
  check(image.copyTo(cut, {0, 0}, rect), "copyTo");
  return cut;
}

/// Two views of one photo a few pixels apart.
void pairWithItself(Subject& subject) {
  const MirlImage& photo = subject.photo;
  const int shift = std::min({4, photo.width() - 1, photo.height() - 1});
  const MirlSize size(photo.width() - shift, photo.height() - shift);
  const auto cut = [&](int x, int y, MirlImage& part) {
    check(photo.copyTo(part, {0, 0}, {x, y, size.width, size.height}), "copyTo");
  };
  cut(0, 0, subject.first);
  cut(shift, shift, subject.second);
  subject.pairName = subject.name + " and itself, shifted";
}

void pair(Subject& subject, const Subject& partner) {
  const MirlSize size(std::min(subject.photo.width(), partner.photo.width()),
                      std::min(subject.photo.height(), partner.photo.height()));
  subject.first = middle(subject.photo, size);
  subject.second = middle(partner.photo, size);
  subject.pairName = subject.name + ", " + partner.name;
}

}  // namespace

std::vector<PhotoFile> defaultPhotos() {
  const std::string folder = "/usr/share/doc/opencv-doc/examples/data/";
  std::vector<PhotoFile> photos = {{"fruits.jpg", "building.jpg"},
                                   {"building.jpg", "fruits.jpg"},
                                   {"baboon.jpg", "fruits.jpg"},
                                   {"aloeL.jpg", "building.jpg"},
                                   {"rubberwhale1.png", "rubberwhale2.png"},
                                   {"basketball1.png", "basketball2.png"},
                                   {"sudoku.png", "building.jpg"}};
  for (PhotoFile& photo : photos) {
    photo.file.insert(0, folder);
    photo.partner.insert(0, folder);
  }
  return photos;
}

std::vector<PhotoFile> inTurn(const std::vector<std::string>& files) {
  std::vector<PhotoFile> photos;
  for (std::size_t i = 0; i < files.size(); ++i) {
    photos.push_back({files[i], files.size() > 1 ? files[(i + 1) % files.size()] : ""});
  }
  return photos;
}

std::vector<Subject> readSubjects(const std::vector<PhotoFile>& files, bool& complete) {
  complete = true;
  std::map<std::string, Subject> known;
  const auto find = [&](const std::string& file) -> const Subject* {
    if (file.empty()) return nullptr;
    auto [entry, isNew] = known.try_emplace(file);
    Subject& subject = entry->second;
    if (isNew && !read(file, subject)) complete = false;
    return subject.photo.isInitialized() ? &subject : nullptr;
  };

  std::vector<Subject> subjects;
  for (const PhotoFile& photo : files) {
    const Subject* found = find(photo.file);
    const Subject* partner = find(photo.partner);
    if (!found) continue;
    subjects.push_back(*found);
    if (partner && partner != found) {
      pair(subjects.back(), *partner);
    } else {
      pairWithItself(subjects.back());
    }
  }
  return subjects;
}

}  // namespace gallery
