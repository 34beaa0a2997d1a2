#pragma once
// The HTML page of `noxdb gallery`: one self-contained file (its style inline, no script)
// that shows every file of a database by folder, next to the icons exported beside it.

#include <string>
#include <vector>

namespace nox::tools {

// What the page shows of one database file; every text is shown as it is (escaped here).
struct GalleryItem {
  std::string id;  // the identifier, also the page anchor
  std::string name, folder, type, size, checksum;
  std::string compression;  // empty for files that hold no picture
  std::vector<std::string> keywords;
  std::string icon, largeIcon;  // file names of the exported PNGs beside the page, or empty
};

// `text` made safe for HTML text and for quoted attribute values.
std::string HtmlEscape(const std::string& text);

// The page titled `title`: a section for each run of items of the same folder, in the
// order given.
std::string GalleryPage(const std::string& title, const std::vector<GalleryItem>& items);

}  // namespace nox::tools
