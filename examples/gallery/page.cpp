#include "page.h"

#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace gallery {
namespace {

constexpr const char* kHead = R"(<!doctype html>
<html lang="en">
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<style>
  :root { color-scheme: light dark; --paper: #fafafa; --ink: #22262b; --faint: #6d747d;
          --card: #fff; --mat: #ececec; --line: #e0e2e5 }
  @media (prefers-color-scheme: dark) {
    :root { --paper: #17191c; --ink: #e6e8ea; --faint: #979ea7;
            --card: #202327; --mat: #101214; --line: #33373d }
  }
  body { margin: 0 auto; max-width: 1500px; padding: 24px; background: var(--paper);
         color: var(--ink); font: 15px/1.45 system-ui, sans-serif }
  h1 { font-size: 26px; margin: 8px 0 0 }
  h2 { font-size: 19px; margin: 36px 0 12px }
  p { color: var(--faint); margin: 4px 0 }
  .grid { display: grid; gap: 18px; grid-template-columns: repeat(auto-fill, minmax(270px, 1fr)) }
  figure { margin: 0; background: var(--card); border: 1px solid var(--line);
           border-radius: 8px; overflow: hidden }
  figure a { display: block; background: var(--mat) }
  img { display: block; width: 100%; height: 220px; object-fit: contain }
  figcaption { padding: 10px 14px 12px }
  figcaption b { font-family: ui-monospace, monospace; font-size: 15px }
  small { display: block; color: var(--faint); margin-top: 4px }
</style>
)";

std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      default:
        result += c;
    }
  }
  return result;
}

void writeFigure(std::ofstream& page, const Exhibit& exhibit) {
  page << "<figure><a href=\"" << exhibit.file << "\"><img src=\"" << exhibit.file << "\" alt=\""
       << escaped(exhibit.operation + ": " + exhibit.caption) << "\"></a><figcaption><b>"
       << escaped(exhibit.operation) << "</b><div>" << escaped(exhibit.caption) << "</div><small>"
       << escaped(exhibit.subject) << "</small>";
  for (const Timing& timing : exhibit.timings) {
    char numbers[64];
    std::snprintf(numbers, sizeof numbers, "%.3f ms, %.0f MB/s", timing.milliseconds,
                  timing.megabytesPerSecond);
    page << "<small>" << escaped(timing.types) << "<br>" << numbers << "</small>";
  }
  page << "</figcaption></figure>\n";
}

}  // namespace

void writePage(const std::vector<Exhibit>& exhibits, const std::string& title,
               const std::string& file) {
  std::ofstream page(file);
  page << kHead << "<title>mirl</title>\n<h1>mirl</h1>\n<p>" << escaped(title)
       << ". A click shows a picture in full.</p>\n";
  std::string section;
  for (const Exhibit& exhibit : exhibits) {
    if (exhibit.section != section) {
      page << (section.empty() ? "" : "</div>\n") << "<h2>" << escaped(exhibit.section)
           << "</h2>\n<div class=\"grid\">\n";
      section = exhibit.section;
    }
    writeFigure(page, exhibit);
  }
  page << "</div>\n</html>\n";
  if (!page.flush()) throw std::runtime_error("can't write " + file);
}

}  // namespace gallery
