#pragma once
// Clip imports against a real database: a clip importer that records its packet callbacks,
// description files written field by field, thumbnails written with Magick, and readers of
// what a clip file holds.

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "import/VideoClipImporter.h"
#include "tests/import/ImportTestSupport.h"

namespace nox::test {

class ClipImporter : public CVideoClipImporter {
 public:
  using CVideoClipImporter::CVideoClipImporter;
  using CVideoClipImporter::description;
  using CVideoClipImporter::name;

  // ">packet size remaining" before and "=packet size sent" after each packet.
  std::vector<std::string> packets;
  // Runs after each transferred packet, e.g. to change the source under the copy.
  std::function<void(int packet)> afterPacket;
  // Runs when the unit list is made, between the two loads of the thumbnail.
  std::function<void()> onUnits;

 protected:
  void OnPacketToTransfer(int packet, unsigned int size, unsigned long long remaining) override;
  void OnPacketTransferred(int packet, unsigned int size, unsigned long long sent) override;
  bool AddSpecialUnits(CNDBFile& file) override;
};

// The fields of a description, as (name, value) in document order.
using Fields = std::vector<std::pair<std::string, std::string>>;
// `fields` with `name` set to `value`, appended when it is not there.
Fields With(Fields fields, const std::string& name, const std::string& value);
// `fields` without `name`.
Fields Without(Fields fields, const std::string& name);

// Description files, thumbnails and media files in a temporary folder, and a fresh
// database with a clip importer on it.
class ClipTest : public ImportDbTest {
 protected:
  void SetUp() override;
  // Writes a description of `fields` with an optional mode element.
  std::string WriteDescription(const std::string& file, const Fields& fields,
                               const std::string& mode = "");
  // A complete clip: clip "clip.bin", thumbnail "thumb.png", a name and the details.
  static Fields CompleteFields();
  // A PNG whose top half is red and bottom half blue.
  std::string WriteThumbnail(const std::string& file, int width, int height);
  // Pseudo-random bytes in a file.
  std::string WriteMedia(const std::string& file, size_t size, uint32_t seed);
  // Imports the description at `path`; the identifier goes to `id`.
  bool Import(ClipImporter& importer, const std::string& path, CUUID* id, bool overwrite = false);
  // The bitmaps (token 3 ... 65532) of an icon unit of a stored file.
  std::vector<CNPBM> Icons(const CUUID& id, const char* unit);
  // All files stored in the root folder.
  std::vector<CNoxDbI::FileInfo> Files();

  std::unique_ptr<ClipImporter> importer_;
};

}  // namespace nox::test
