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

// One OnPacketToTransfer ('>') or OnPacketTransferred ('=') call.
struct PacketCall {
  char kind;
  int packet;
  unsigned int size;
  unsigned long long count;  // remaining before, or transferred after
  bool operator==(const PacketCall& o) const {
    return kind == o.kind && packet == o.packet && size == o.size && count == o.count;
  }
};
void PrintTo(const PacketCall& c, std::ostream* os);

class ClipImporter : public CVideoClipImporter {
 public:
  using CVideoClipImporter::CVideoClipImporter;
  using CVideoClipImporter::description;
  using CVideoClipImporter::name;

  std::vector<PacketCall> packets;
  // Runs after each transferred packet, e.g. to change the source under the copy.
  std::function<void(int packet)> afterPacket;
  // Runs when the unit list is made, between the two loads of the thumbnail.
  std::function<void()> onUnits;

 protected:
  void OnPacketToTransfer(int packet, unsigned int size, unsigned long long remaining) override;
  void OnPacketTransferred(int packet, unsigned int size, unsigned long long sent) override;
  bool AddSpecialUnits(CNDBFile& file) override;
};

// A token and the value bytes that follow it up to the next token.
struct StreamItem {
  unsigned short token;
  std::string bytes;
  bool operator==(const StreamItem& o) const { return token == o.token && bytes == o.bytes; }
};
void PrintTo(const StreamItem& item, std::ostream* os);

// Builds an expected token stream with the engine's value encoding (little-endian numbers,
// strings with a 32-bit length).
class ExpectedStream {
 public:
  ExpectedStream& Open(unsigned short token);
  // The token, its values and its closing token.
  template <typename... Values>
  ExpectedStream& Pair(unsigned short token, const Values&... values) {
    items_.push_back({token, (std::string() + ... + Encode(values))});
    return Open(static_cast<unsigned short>(0xFFFF - token));
  }
  const std::vector<StreamItem>& items() const { return items_; }

  static std::string Encode(const std::string& text);
  template <typename T>
  static std::string Encode(const T& value) {
    static_assert(std::is_arithmetic_v<T>, "numbers only");
    return std::string(reinterpret_cast<const char*>(&value), sizeof value);
  }

 private:
  std::vector<StreamItem> items_;
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

  // Writes a description of `fields` (name, value) with an optional mode element.
  std::string WriteDescription(const std::string& file, const Fields& fields,
                               const std::string& mode = "");
  // The fields of a complete clip: clip "clip.bin", thumbnail "thumb.png", a name and the
  // details.
  static Fields CompleteFields();
  // A picture whose top half is red and bottom half blue, as a PNG.
  std::string WriteThumbnail(const std::string& file, int width, int height);
  // Pseudo-random bytes in a file.
  std::string WriteMedia(const std::string& file, size_t size, uint32_t seed);

  // Imports the description at `path` as a new file; the identifier goes to `id`.
  bool Import(ClipImporter& importer, const std::string& path, CUUID* id, bool overwrite = false);

  // Opens a stored file for reading with `unit` selected.
  void OpenUnit(CNDBFile& file, const CUUID& id, const char* unit);
  // The token stream of a unit of a stored file.
  std::vector<StreamItem> Stream(const CUUID& id, const char* unit);
  // The raw bytes of a unit of a stored file.
  std::string Raw(const CUUID& id, const char* unit);
  // The bitmaps (token 3 ... 65532) of an icon unit.
  std::vector<CNPBM> Icons(const CUUID& id, const char* unit);
  // All files stored in the root folder.
  std::vector<CNoxDbI::FileInfo> Files();

  std::unique_ptr<ClipImporter> importer_;
};

}  // namespace nox::test
