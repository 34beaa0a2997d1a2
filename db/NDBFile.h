#pragma once
// One file of a media database: a type, a name in a folder, an identifier, keywords, and an
// ordered list of named units, each holding a token stream or raw bytes.
//
// Life of a write: declare units (AddAttribute, InsertSizeAttribute, InsertKeyword), then
// Create or Open for rewriting, select units and write, then Close or destroy the object.
// Everything from Create/Open to the end is one transaction: other sessions see the old file
// (or none) until the end, a crash leaves the database as it was, and a rewrite that wrote
// nothing leaves the file exactly as it was. Close(uuid, false) and DismissCorrupt() give the
// new content up.
//
// Unit indexes taken by SelectUnitByIndex, RawRead and RawWrite, and given by FindUnit,
// GetCurrentUnit and FileState, count from 1. GetAttribute indexes the declaration list
// from 0.
//
// Every failing call records a negative code (GetLastError) and a text on the session
// (CNoxDbI::GetLastErrorStr); the writers read GetLastError once at the end.

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "db/FileState.h"
#include "db/NDBConstants.h"
#include "db/NOFChecksum.h"
#include "db/NPBM.h"
#include "db/NoxDbI.h"
#include "db/Token.h"
#include "db/Uuid.h"
#include "db/storage/Store.h"
#include "util/tagSIZE.h"

namespace noxdb {
class UnitBytes;

// A unit declared for the next Create or Open.
struct DeclaredUnit {
  std::string name;
  bool hasSize = false;
  tagSIZE size;
  std::vector<std::string> texts;  // the name, then "WxH" when sized

  void SetSize(const tagSIZE& s);
};
}  // namespace noxdb

class CNDBBase {
 public:
  virtual ~CNDBBase();
  // 0 when the last operation went well, else its negative code.
  int GetLastError() const { return lastError_; }
  // Records a code on this object and on the session; returns it.
  int SetLastError(CNDBConstants::EError code);
  CNoxDbI* EditableSession() const { return session_; }

 protected:
  explicit CNDBBase(const CNoxDbI* session);
  // Records a failure here and on the session; returns its code.
  int Fail(int code, const std::string& text);
  int Fail(const noxdb::Status& status);

  CNoxDbI* session_;
  int lastError_ = 0;
};

class CNDBFile : public CNDBBase {
 public:
  static const char* const UNIT_ICON_SMALL;
  static const char* const UNIT_ICON_DEFAULT;
  static const char* const UNIT_ICON_LARGE;
  static const char* const UNIT_DATA;
  static const char* const UNIT_VERSION;

  // Open modes. Rewriting replaces the file's units by the declared list once the first
  // byte is written; in place keeps the file's identity, as every rewrite here does.
  static constexpr unsigned int kModeRead = 0x1000;
  static constexpr unsigned int kModeRewrite = 0x8000;
  static constexpr unsigned int kModeRewriteInPlace = 0x28000;

  // The session must outlive the object.
  explicit CNDBFile(const CNoxDbI* session);
  // Ends an open file as Close(nullptr, true) does.
  ~CNDBFile() override;
  CNDBFile(const CNDBFile&) = delete;
  CNDBFile& operator=(const CNDBFile&) = delete;

  virtual CNoxDbI* Session();
  virtual int SelectUnitByIndex(int unit, int a, int b);
  // Makes a unit current, with the reading position at its start; writes append to it.
  virtual int SelectUnit(const char* unit, int a, bool flag);

  // The code of the latest failure since the file was created or opened, 0 if none. Bytes
  // still buffered are stored and written out first, so that a failure to store them (a
  // full device) shows here.
  int GetLastError() const;

  bool IsNew() const { return isNew_; }
  bool IsReadable() const { return open_; }
  bool IsWritable() const { return open_ && writable_; }
  unsigned short GetType() const { return static_cast<unsigned short>(record_.type); }
  const CUUID& GetUuid() const { return uuid_; }
  bool GetFileStatus(FileState& state) const;
  unsigned short GetFileUnitCount() const { return static_cast<unsigned short>(declared_.size()); }
  int GetCurrentUnit() const { return current_; }
  bool IsEOU();
  void DismissCorrupt();

  // Declaring units. A name is declared once; declaring it again only updates its size.
  bool AddAttribute(const char* unit, const tagSIZE* size);
  bool InsertSizeAttribute(const char* unit, const tagSIZE& size);
  bool InsertSizeAttribute(const char* unit, int width, int height);
  // The declared size, else one inserted for a unit not declared yet, else the open file's.
  bool GetSizeAttribute(const char* unit, tagSIZE& size, bool flag);
  // The texts of the declared unit at `unit` (from 0): its name, then "WxH" if sized.
  const std::vector<std::string>* GetAttribute(unsigned int unit) const;
  // Declares `unit` right after the declared unit `anchor`; false if `unit` is declared
  // already or `anchor` is not.
  bool InsertUnit(const char* unit, const char* anchor);
  bool InsertKeyword(const char* keyword, short flag);
  // The index of a unit of the open file, else of the declaration list; 0 when not found.
  int FindUnit(const char* unit);

  // Creating and opening: 0 or a negative code. `units` and `mask` are informational: the
  // declared list decides. A checksum is stored when it is finished.
  int Create(const _GUID& uuid, const char* name, int type, int units, unsigned int mask,
             const CNOFChecksum* checksum, int flag);
  int Create(const char* name, int type, int units, unsigned int mask,
             const CNOFChecksum* checksum, int flag);
  int CreateEx(const _GUID& uuid, const _GUID& folder, const char* name, int type, int units,
               unsigned int mask, bool flag, const CNOFChecksum* checksum, int extra);
  int Open(const _GUID& uuid, unsigned int mode, int units, const CNOFChecksum* checksum,
           int flag);
  // Opens the file of that name and type; with none of that type, one of another type (the
  // caller's type check then refuses it); with none at all, eFileNotFound.
  int Open(const char* name, unsigned int mode, int units, unsigned short type,
           const CNOFChecksum* checksum, int flag);
  // Ends the file: `keep` true commits what was written, false gives it up (a new file
  // disappears, an opened one keeps its old content). `uuid`, when given, receives the
  // file's identifier. The declaration list stays for a following Open.
  int Close(const _GUID* uuid, bool keep);

  // Token stream of the current unit. Values are stored as plain little-endian bytes; a
  // string as a 32-bit length and its bytes; a tagSIZE as two 32-bit numbers; a CNPBM as
  // two 16-bit sides and its pixels.
  CNDBFile& operator<<(TOK::FileToken token);
  CNDBFile& operator<<(short value);
  CNDBFile& operator<<(int value);
  CNDBFile& operator<<(unsigned int value);
  CNDBFile& operator<<(long long value);
  CNDBFile& operator<<(unsigned long long value);
  CNDBFile& operator<<(double value);
  CNDBFile& operator<<(bool value);
  CNDBFile& operator<<(const char* value);
  CNDBFile& operator<<(const std::string& value);
  CNDBFile& operator<<(const tagSIZE& value);
  CNDBFile& operator<<(const CNPBM& value);
  CNDBFile& operator>>(short& value);
  CNDBFile& operator>>(unsigned short& value);
  CNDBFile& operator>>(int& value);
  CNDBFile& operator>>(unsigned int& value);
  CNDBFile& operator>>(CNPBM& value);

  // Steps over value bytes not read and returns the next token, consumed; a binary value
  // reads as TOK::Binary with its bytes still to read. 0 at the end of the unit.
  TOK::FileToken ReadNextTokenEx();
  // The token at the reading position, not consumed (TOK::Binary for a binary value); 0
  // while the position is in or before plain value bytes, or at the end.
  TOK::FileToken GetNextToken();
  // Length of the binary value at or around the reading position; 0 if there is none.
  unsigned int GetBinarySize();
  // Reads value bytes as stored, stopping before a token or a binary value's header.
  int Read(unsigned char* buffer, int size);
  // Appends value bytes as given: what Read gave back replays byte for byte.
  int Write(const unsigned char* buffer, int size);
  int WriteBinary(const char* buffer, int size);
  int WriteBinary(const unsigned char* buffer, int size);

  // Raw bytes of a unit by byte offset. RawRead answers 0 at the end and 0xFFFFFFFF on
  // failure, and sets *flag to true (the bytes are plain). RawWrite writes at byte
  // packet * 51200 and answers the bytes taken (0 on failure); `flag` is not needed here.
  unsigned int RawRead(int unit, unsigned long long offset, char* buffer, unsigned int size,
                       bool* flag);
  unsigned int RawWrite(int unit, int packet, const char* buffer, unsigned int size, bool* flag);

 private:
  // Common path of the Create forms; `base` is the folder the name is resolved from.
  int CreateIn(const CUUID& base, const CUUID& uuid, const char* name, int type,
               const CNOFChecksum* checksum);
  // Finds the file by identifier, or by name and type, inside the write transaction if any.
  int OpenWith(unsigned int mode, const CNOFChecksum* checksum,
               const std::function<noxdb::Status(noxdb::FileRecord*, bool*)>& find);
  // Takes the session's write lock for this file; eSessionBusy if another file holds it.
  int BeginWrite();
  // Ends the write transaction, committing or not; a failed commit sets *result.
  void EndWrite(bool commit, int* result);
  // Ends a failed Create or Open: gives up the transaction and records the failure.
  int Abandon(const noxdb::Status& status);
  // Puts the declared units in place of the stored ones at the first write of a rewrite.
  int Materialize();
  noxdb::Status StoreKeywords();
  void ResetOpenState();

  noxdb::UnitRecord* CurrentUnit();
  bool CanWrite();
  // Appends stream bytes to the current unit; plain value bytes wait in run_ until the next
  // token or binary, so that the values between two tokens form one record.
  void AppendValue(const void* data, size_t size);
  void AppendRecord(const void* data, size_t size);
  bool FlushRun();
  template <typename T>
  CNDBFile& WriteLE(T value);
  template <typename T>
  CNDBFile& ReadLE(T* value);

  // Reading: parse the record header at pos_; false at the end or on damage.
  struct Header {
    unsigned char tag = 0;
    uint32_t length = 0;     // value bytes that follow the header
    unsigned short token = 0;
    uint32_t headerSize = 0;
  };
  bool PeekHeader(Header* header);
  bool ReadUnitBytes(uint64_t offset, void* data, size_t size);
  void MarkDamaged();

  noxdb::DeclaredUnit* FindDeclared(const std::string& name);

  std::vector<noxdb::DeclaredUnit> declared_;
  std::map<std::string, tagSIZE> pendingSizes_;
  std::vector<std::string> keywords_;

  bool open_ = false;
  bool writable_ = false;
  bool isNew_ = false;
  bool materialized_ = false;
  bool dismissed_ = false;
  bool writeFailed_ = false;  // some bytes could not be stored
  CUUID uuid_;
  noxdb::FileRecord record_;
  std::string newChecksum_;  // for a rewrite: stored at materialization
  std::vector<noxdb::UnitRecord> units_;
  std::unique_ptr<noxdb::UnitBytes> bytes_;

  int current_ = 0;
  std::string run_;        // pending plain value bytes of the current unit
  uint64_t pos_ = 0;       // reading position
  uint64_t valueEnd_ = 0;  // end of the value the position is in; == pos_ at a boundary
  unsigned char valueTag_ = 0;  // tag of the record the position is in
  uint32_t valueLength_ = 0;
};
