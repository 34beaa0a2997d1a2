#include <pugixml.hpp>
#include <strings.h>

#include "fuzz/FuzzTarget.h"
#include "import/ClipDescription.h"

// The description as the clip importer reads it: the XML document, then every field and
// mode text through the rules that turn them into values.
NOX_FUZZ_TARGET(clip) {
  pugi::xml_document document;
  if (document.load_buffer(data, size, pugi::parse_default, pugi::encoding_auto).status != pugi::status_ok) return;
  for (pugi::xml_node child = document.document_element().first_child(); child; child = child.next_sibling()) {
    if (strcasecmp(child.name(), "mode") == 0) nox::import::ParseMode(child.child_value());
    const pugi::xml_attribute field = child.attribute("name");
    if (!field || nox::import::ClipFieldNumber(field.value()) < 0) continue;
    nox::import::ParseTimeCode(child.child("value").child_value());
    nox::import::ParseInt(child.child("value").child_value());
  }
}
