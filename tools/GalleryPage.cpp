#include "tools/GalleryPage.h"

#include <set>

namespace nox::tools {
namespace {

// Inline, so that the page looks the same opened from a disk with no network.
const char* const kStyle = R"(
body { font-family: system-ui, sans-serif; margin: 1.5rem; background: #f3f3f1; color: #222; }
h1 { font-size: 1.4rem; margin: 0 0 .2rem; }
h2 { font-size: 1.1rem; margin: 1.6rem 0 .6rem; border-bottom: 1px solid #ccc; padding-bottom: .2rem; }
.summary { color: #666; margin: 0; }
.grid { display: grid; grid-template-columns: repeat(auto-fill, minmax(19rem, 1fr)); gap: .8rem; }
.item { display: flex; gap: .8rem; background: #fff; border: 1px solid #ddd; border-radius: 6px; padding: .7rem; }
.icon { flex: none; width: 64px; height: 64px; display: flex; align-items: center; justify-content: center;
        background: #e6e6e3; border-radius: 3px; color: #888; font-size: .7rem; }
.icon img { max-width: 64px; max-height: 64px; }
.name { font-weight: 600; overflow-wrap: anywhere; margin-bottom: .3rem; }
dl { display: grid; grid-template-columns: auto 1fr; gap: .1rem .6rem; margin: 0; font-size: .78rem; }
dt { color: #777; }
dd { margin: 0; overflow-wrap: anywhere; }
.checksum { font-family: ui-monospace, monospace; font-size: .72rem; }
)";

void Field(std::string& page, const char* label, const std::string& value, const char* cls = nullptr) {
  page += "<dt>";
  page += label;
  page += cls ? std::string("</dt><dd class=\"") + cls + "\">" : "</dt><dd>";
  page += value.empty() ? "-" : HtmlEscape(value);
  page += "</dd>";
}

void Item(std::string& page, const GalleryItem& item) {
  const std::string name = HtmlEscape(item.name);
  page += "<article class=\"item\" id=\"f-" + HtmlEscape(item.id) + "\">\n<div class=\"icon\">";
  if (item.icon.empty()) {
    page += "no icon";
  } else {
    const std::string img = "<img src=\"" + HtmlEscape(item.icon) + "\" alt=\"" + name + "\">";
    page += item.largeIcon.empty() ? img : "<a href=\"" + HtmlEscape(item.largeIcon) + "\">" + img + "</a>";
  }
  page += "</div>\n<div><div class=\"name\">" + name + "</div>\n<dl>";
  Field(page, "folder", item.folder);
  Field(page, "type", item.type);
  Field(page, "size", item.size);
  Field(page, "checksum", item.checksum, "checksum");
  if (!item.compression.empty()) Field(page, "compression", item.compression);
  std::string keywords;
  for (const std::string& k : item.keywords) keywords += (keywords.empty() ? "" : ", ") + k;
  Field(page, "keywords", keywords);
  page += "</dl></div>\n</article>\n";
}

}  // namespace

std::string HtmlEscape(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      case '\'': out += "&#39;"; break;
      default: out += c;
    }
  }
  return out;
}

std::string GalleryPage(const std::string& title, const std::vector<GalleryItem>& items) {
  std::set<std::string> folders;
  for (const GalleryItem& item : items) folders.insert(item.folder);
  std::string page = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>" +
                     HtmlEscape(title) + "</title>\n<style>" + kStyle + "</style>\n</head>\n<body>\n<h1>" +
                     HtmlEscape(title) + "</h1>\n<p class=\"summary\">" + std::to_string(items.size()) +
                     (items.size() == 1 ? " file" : " files") + " in " + std::to_string(folders.size()) +
                     (folders.size() == 1 ? " folder" : " folders") + "</p>\n";
  for (size_t i = 0; i < items.size(); ++i) {
    if (i == 0 || items[i].folder != items[i - 1].folder) {
      if (i != 0) page += "</div>\n</section>\n";
      page += "<section>\n<h2>" + HtmlEscape(items[i].folder) + "</h2>\n<div class=\"grid\">\n";
    }
    Item(page, items[i]);
  }
  if (!items.empty()) page += "</div>\n</section>\n";
  return page + "</body>\n</html>\n";
}

}  // namespace nox::tools
