#include "db/NDBFile.h"

#include <algorithm>
#include <cstring>
#include <ctime>

#include "db/SessionAccess.h"
#include "db/UnitBytes.h"

using noxdb::Status;
using noxdb::UnitRecord;

namespace {

// Record tags of a unit's token stream. A token record is the tag and 16 bits; a value and a
// binary record are the tag, a 32-bit length and that many bytes. Plain values between two
// tokens form one value record, so a reader can step over them without knowing their types.
constexpr unsigned char kTagToken = 'T';
constexpr unsigned char kTagValue = 'V';
constexpr unsigned char kTagBinary = 'B';
constexpr uint32_t kTokenRecordSize = 3;
constexpr uint32_t kLengthRecordSize = 5;
constexpr uint64_t kPacketSize = 51200;
constexpr unsigned int kRawFailure = 0xFFFFFFFF;

void PutLE(std::string* out, uint64_t v, int bytes) {
  for (int i = 0; i < bytes; ++i) out->push_back(static_cast<char>(v >> (8 * i)));
}

uint64_t GetLE(const unsigned char* p, int bytes) {
  uint64_t v = 0;
  for (int i = bytes - 1; i >= 0; --i) v = (v << 8) | p[i];
  return v;
}

std::string LengthRecord(unsigned char tag, uint32_t length) {
  std::string h(1, static_cast<char>(tag));
  PutLE(&h, length, 4);
  return h;
}

std::vector<UnitRecord> UnitsFrom(const std::vector<noxdb::DeclaredUnit>& declared) {
  std::vector<UnitRecord> units;
  for (const auto& d : declared) {
    UnitRecord& u = units.emplace_back();
    u.position = static_cast<int>(units.size());
    u.name = d.name;
    u.hasSize = d.hasSize;
    u.width = d.size.cx;
    u.height = d.size.cy;
  }
  return units;
}

std::string FinishedDigest(const CNOFChecksum* checksum) {
  return checksum && checksum->finalized() ? checksum->digest() : std::string();
}

int64_t Now() { return static_cast<int64_t>(std::time(nullptr)); }

}  // namespace

void noxdb::DeclaredUnit::SetSize(const tagSIZE& s) {
  hasSize = true;
  size = s;
  texts = {name, std::to_string(s.cx) + "x" + std::to_string(s.cy)};
}

const char* const CNDBFile::UNIT_ICON_SMALL = "IconSmall";
const char* const CNDBFile::UNIT_ICON_DEFAULT = "IconDefault";
const char* const CNDBFile::UNIT_ICON_LARGE = "IconLarge";
const char* const CNDBFile::UNIT_DATA = "Data";
const char* const CNDBFile::UNIT_VERSION = "Version";

// --- CNDBBase ---

CNDBBase::CNDBBase(const CNoxDbI* session) : session_(const_cast<CNoxDbI*>(session)) {}

CNDBBase::~CNDBBase() = default;

int CNDBBase::SetLastError(CNDBConstants::EError code) { return Fail(code, ""); }

int CNDBBase::Fail(int code, const std::string& text) {
  lastError_ = code;
  if (session_) SessionAccess::Record(*session_, Status::Error(code, text));
  return code;
}

int CNDBBase::Fail(const Status& status) { return Fail(status.code, status.text); }

// --- declarations ---

CNDBFile::CNDBFile(const CNoxDbI* session) : CNDBBase(session) {}

CNDBFile::~CNDBFile() {
  if (open_) Close(nullptr, true);
}

CNoxDbI* CNDBFile::Session() { return session_; }

noxdb::DeclaredUnit* CNDBFile::FindDeclared(const std::string& name) {
  for (auto& d : declared_) {
    if (d.name == name) return &d;
  }
  return nullptr;
}

bool CNDBFile::AddAttribute(const char* unit, const tagSIZE* size) {
  if (unit == nullptr || *unit == '\0') return false;
  noxdb::DeclaredUnit* d = FindDeclared(unit);
  if (d == nullptr) {
    d = &declared_.emplace_back();
    d->name = unit;
    d->texts = {unit};
    // A size may have been given before the unit was declared.
    auto pending = pendingSizes_.find(unit);
    if (pending != pendingSizes_.end()) {
      d->SetSize(pending->second);
      pendingSizes_.erase(pending);
    }
  }
  if (size) d->SetSize(*size);
  return true;
}

bool CNDBFile::InsertSizeAttribute(const char* unit, const tagSIZE& size) {
  if (unit == nullptr || *unit == '\0') return false;
  if (noxdb::DeclaredUnit* d = FindDeclared(unit)) {
    d->SetSize(size);
  } else {
    pendingSizes_[unit] = size;
  }
  return true;
}

bool CNDBFile::InsertSizeAttribute(const char* unit, int width, int height) {
  return InsertSizeAttribute(unit, tagSIZE{width, height});
}

bool CNDBFile::GetSizeAttribute(const char* unit, tagSIZE& size, bool) {
  if (unit == nullptr) return false;
  if (const noxdb::DeclaredUnit* d = FindDeclared(unit); d && d->hasSize) {
    size = d->size;
    return true;
  }
  if (auto it = pendingSizes_.find(unit); it != pendingSizes_.end()) {
    size = it->second;
    return true;
  }
  for (const auto& u : units_) {
    if (u.name == unit && u.hasSize) {
      size = tagSIZE{u.width, u.height};
      return true;
    }
  }
  return false;
}

const std::vector<std::string>* CNDBFile::GetAttribute(unsigned int unit) const {
  return unit < declared_.size() ? &declared_[unit].texts : nullptr;
}

bool CNDBFile::InsertUnit(const char* unit, const char* anchor) {
  if (unit == nullptr || *unit == '\0' || anchor == nullptr || FindDeclared(unit)) return false;
  auto it = std::find_if(declared_.begin(), declared_.end(),
                         [&](const noxdb::DeclaredUnit& d) { return d.name == anchor; });
  if (it == declared_.end()) return false;
  noxdb::DeclaredUnit d;
  d.name = unit;
  d.texts = {unit};
  declared_.insert(it + 1, d);
  return true;
}

bool CNDBFile::InsertKeyword(const char* keyword, short) {
  if (keyword == nullptr || *keyword == '\0') return false;
  if (std::find(keywords_.begin(), keywords_.end(), keyword) == keywords_.end()) {
    keywords_.push_back(keyword);
  }
  return true;
}

int CNDBFile::FindUnit(const char* unit) {
  if (unit == nullptr) return 0;
  if (open_) {
    for (size_t i = 0; i < units_.size(); ++i) {
      if (units_[i].name == unit) return static_cast<int>(i + 1);
    }
    return 0;
  }
  for (size_t i = 0; i < declared_.size(); ++i) {
    if (declared_[i].name == unit) return static_cast<int>(i + 1);
  }
  return 0;
}

bool CNDBFile::GetFileStatus(FileState& state) const {
  if (!open_) return false;
  state.units.clear();
  for (size_t i = 0; i < units_.size(); ++i) {
    state.units.emplace_back(units_[i].name, static_cast<int>(i + 1), units_[i].status);
  }
  if (record_.checksum.empty()) {
    state.SetChecksum(nullptr);
  } else {
    const CNOFChecksum sum = CNOFChecksum::FromDigest(record_.checksum);
    state.SetChecksum(&sum);
  }
  return true;
}

// --- opening and closing ---

int CNDBFile::BeginWrite() {
  if (session_->writer_ != nullptr && session_->writer_ != this) {
    return Fail(CNDBConstants::eSessionBusy, "");
  }
  // A name look-up may have taken the lock for this file already.
  Status st = session_->lookupLock_ ? Status::Ok() : session_->store_->Begin();
  if (!st.ok()) return Fail(st);
  session_->lookupLock_ = false;
  session_->writer_ = this;
  return 0;
}

void CNDBFile::EndWrite(bool commit, int* result) {
  noxdb::Store* store = session_->store_.get();
  Status st;
  if (commit) {
    st = bytes_ ? bytes_->Flush() : Status::Ok();
    for (auto& unit : units_) {
      if (st.ok() && bytes_) st = bytes_->Seal(&unit);
    }
    if (st.ok()) st = store->Commit();
  }
  if (!commit || !st.ok()) store->Rollback();
  if (!st.ok()) *result = Fail(st);
  if (bytes_) bytes_->Reset();
  session_->writer_ = nullptr;
}

int CNDBFile::Abandon(const Status& status) {
  int ignored = 0;
  if (session_->writer_ == this) EndWrite(false, &ignored);
  return Fail(status);
}

Status CNDBFile::StoreKeywords() {
  Status st;
  for (const auto& k : keywords_) {
    if (st.ok()) st = session_->store_->AddKeyword(record_.id, k);
  }
  return st;
}

void CNDBFile::ResetOpenState() {
  open_ = writable_ = materialized_ = dismissed_ = writeFailed_ = false;
  units_.clear();
  current_ = 0;
  run_.clear();
  pos_ = valueEnd_ = 0;
  valueTag_ = 0;
}

int CNDBFile::CreateIn(const CUUID& base, const CUUID& uuid, const char* name, int type,
                       const CNOFChecksum* checksum) {
  if (!session_->IsValid()) return lastError_ = session_->NotValid();
  if (open_) return Fail(CNDBConstants::eAlreadyOpen, "");
  if (name == nullptr || *name == '\0') return Fail(CNDBConstants::eInvalidArgument, "a file needs a name");
  if (!session_->ExistFileType(type)) {
    return Fail(CNDBConstants::eUnknownFileType, "unknown file type " + std::to_string(type));
  }
  int rc = BeginWrite();
  if (rc) return rc;
  noxdb::Store* store = session_->store_.get();
  noxdb::FileRecord rec;
  CUUID folder;
  rc = session_->ResolvePath(base, name, true, &folder, &rec.name);
  if (rc) return Abandon(Status::Error(rc, session_->lastText_));
  std::vector<noxdb::FileRecord> same;
  Status st = store->FindFiles(folder.Bytes(), rec.name, &same);
  for (const auto& f : same) {
    if (st.ok() && f.type == type) {
      st = Status::Error(CNDBConstants::eNameTaken, "a file named '" + rec.name + "' of type " +
                                                        std::to_string(type) + " already exists");
    }
  }
  const CUUID id = uuid.IsNull() ? CUUID::Generate() : uuid;
  if (st.ok() && !uuid.IsNull()) {
    noxdb::FileRecord other;
    bool found = false;
    st = store->GetFile(id.Bytes(), &other, &found);
    if (st.ok() && found) {
      st = Status::Error(CNDBConstants::eUuidTaken,
                         "a file with identifier " + id.ToString() + " already exists");
    }
  }
  rec.id = id.Bytes();
  rec.folder = folder.Bytes();
  rec.type = type;
  rec.checksum = FinishedDigest(checksum);
  rec.created = rec.changed = Now();
  if (st.ok()) st = store->InsertFile(rec);
  std::vector<UnitRecord> units = UnitsFrom(declared_);
  for (auto& u : units) {
    if (st.ok()) st = store->InsertUnit(rec.id, &u);
  }
  record_ = rec;
  if (st.ok()) st = StoreKeywords();
  if (!st.ok()) return Abandon(st);
  uuid_ = id;
  units_ = std::move(units);
  bytes_ = std::make_unique<noxdb::UnitBytes>(store);
  open_ = writable_ = isNew_ = materialized_ = true;
  dismissed_ = false;
  lastError_ = 0;
  return 0;
}

int CNDBFile::Create(const _GUID& uuid, const char* name, int type, int, unsigned int,
                     const CNOFChecksum* checksum, int) {
  return CreateIn(session_->current_, uuid, name, type, checksum);
}

int CNDBFile::Create(const char* name, int type, int, unsigned int, const CNOFChecksum* checksum,
                     int) {
  return CreateIn(session_->current_, CUUID(), name, type, checksum);
}

int CNDBFile::CreateEx(const _GUID& uuid, const _GUID& folder, const char* name, int type, int,
                       unsigned int, bool, const CNOFChecksum* checksum, int) {
  return CreateIn(folder, uuid, name, type, checksum);
}

int CNDBFile::OpenWith(unsigned int mode, const CNOFChecksum* checksum,
                       const std::function<Status(noxdb::FileRecord*, bool*)>& find) {
  if (!session_->IsValid()) return lastError_ = session_->NotValid();
  if (open_) return Fail(CNDBConstants::eAlreadyOpen, "");
  const bool write = (mode & kModeRewrite) != 0;
  // The lock comes first, so that the file cannot change between finding and rewriting it.
  if (write) {
    const int rc = BeginWrite();
    if (rc) return rc;
  }
  noxdb::FileRecord rec;
  bool found = false;
  Status st = find(&rec, &found);
  if (st.ok() && !found) st = Status::Error(CNDBConstants::eFileNotFound, "");
  std::vector<UnitRecord> units;
  if (st.ok() && !write) st = session_->store_->ListUnits(rec.id, noxdb::UnitKind::Unit, &units);
  if (!st.ok()) return Abandon(st);
  record_ = rec;
  uuid_ = CUUID::FromBytes(rec.id.data());
  // A rewrite shows the declared units, empty; the stored ones stay until the first write.
  units_ = write ? UnitsFrom(declared_) : std::move(units);
  newChecksum_ = FinishedDigest(checksum);
  bytes_ = std::make_unique<noxdb::UnitBytes>(session_->store_.get());
  open_ = true;
  writable_ = write;
  isNew_ = materialized_ = dismissed_ = false;
  lastError_ = 0;
  return 0;
}

int CNDBFile::Open(const _GUID& uuid, unsigned int mode, int, const CNOFChecksum* checksum, int) {
  const std::string id = CUUID(uuid).Bytes();
  return OpenWith(mode, checksum, [&](noxdb::FileRecord* rec, bool* found) {
    return session_->store_->GetFile(id, rec, found);
  });
}

int CNDBFile::Open(const char* name, unsigned int mode, int, unsigned short type,
                   const CNOFChecksum* checksum, int) {
  return OpenWith(mode, checksum, [&](noxdb::FileRecord* rec, bool* found) {
    *found = false;
    CUUID folder;
    std::string leaf;
    if (session_->ResolvePath(session_->current_, name ? name : "", false, &folder, &leaf) != 0) {
      return Status::Ok();  // a missing folder holds no file
    }
    std::vector<noxdb::FileRecord> files;
    Status st = session_->store_->FindFiles(folder.Bytes(), leaf, &files);
    for (const auto& f : files) {
      if (!*found || f.type == type) *rec = f;
      *found = true;
    }
    return st;
  });
}

int CNDBFile::Materialize() {
  if (materialized_) return 0;
  noxdb::Store* store = session_->store_.get();
  Status st = store->DeleteUnits(record_.id, noxdb::UnitKind::Unit);
  for (auto& u : units_) {
    if (st.ok()) st = store->InsertUnit(record_.id, &u);
  }
  record_.changed = Now();
  record_.checksum = newChecksum_;
  if (st.ok()) st = store->UpdateFile(record_);
  if (st.ok()) st = StoreKeywords();
  if (!st.ok()) {
    writeFailed_ = true;
    return Fail(st);
  }
  materialized_ = true;
  return 0;
}

int CNDBFile::Close(const _GUID* uuid, bool keep) {
  if (uuid) *const_cast<_GUID*>(uuid) = uuid_.Guid();
  if (!open_) return 0;
  int result = 0;
  if (writable_) {
    if (keep) FlushRun();
    // A file whose bytes could not all be stored is never committed half-written.
    EndWrite(keep && !dismissed_ && materialized_ && !writeFailed_, &result);
  }
  ResetOpenState();
  return result;
}

void CNDBFile::DismissCorrupt() {
  if (open_) dismissed_ = true;
}

int CNDBFile::GetLastError() const {
  auto* self = const_cast<CNDBFile*>(this);
  if (self->IsWritable() && self->materialized_ && self->FlushRun()) {
    // Pages the store still caches are written too: a full device must show here, where
    // writers look, and not only at the commit that ends the file.
    Status st = bytes_->Flush();
    if (st.ok()) st = session_->store_->WriteOut();
    if (!st.ok()) {
      self->writeFailed_ = true;
      self->Fail(st);
    }
  }
  return lastError_;
}

// --- units ---

int CNDBFile::SelectUnitByIndex(int unit, int, int) {
  if (!open_) return Fail(CNDBConstants::eFileNotOpen, "");
  FlushRun();
  if (unit < 1 || unit > static_cast<int>(units_.size())) {
    return Fail(CNDBConstants::eUnitNotFound, "no unit at index " + std::to_string(unit));
  }
  current_ = unit;
  pos_ = valueEnd_ = 0;
  valueTag_ = 0;
  return 0;
}

int CNDBFile::SelectUnit(const char* unit, int, bool) {
  if (!open_) return Fail(CNDBConstants::eFileNotOpen, "");
  const int index = FindUnit(unit);
  if (index < 1) {
    return Fail(CNDBConstants::eUnitNotFound, std::string("unit not found: ") + (unit ? unit : "(null)"));
  }
  return SelectUnitByIndex(index, 0, 0);
}

UnitRecord* CNDBFile::CurrentUnit() {
  return current_ >= 1 && current_ <= static_cast<int>(units_.size()) ? &units_[current_ - 1] : nullptr;
}

bool CNDBFile::CanWrite() {
  if (!open_) return Fail(CNDBConstants::eFileNotOpen, ""), false;
  if (!writable_) return Fail(CNDBConstants::eNotWritable, ""), false;
  if (CurrentUnit() == nullptr) return Fail(CNDBConstants::eNoUnitSelected, ""), false;
  return Materialize() == 0;
}

void CNDBFile::AppendRecord(const void* data, size_t size) {
  UnitRecord* unit = CurrentUnit();
  Status st = bytes_->Write(unit, unit->size, static_cast<const uint8_t*>(data), size);
  if (!st.ok()) {
    writeFailed_ = true;
    Fail(st);
  }
}

bool CNDBFile::FlushRun() {
  if (run_.empty()) return true;
  std::string record = LengthRecord(kTagValue, static_cast<uint32_t>(run_.size()));
  record += run_;
  run_.clear();
  const int before = lastError_;
  AppendRecord(record.data(), record.size());
  return lastError_ == before;
}

void CNDBFile::AppendValue(const void* data, size_t size) {
  if (CanWrite()) run_.append(static_cast<const char*>(data), size);
}

template <typename T>
CNDBFile& CNDBFile::WriteLE(T value) {
  std::string bytes;
  uint64_t raw = 0;
  std::memcpy(&raw, &value, sizeof value);
  PutLE(&bytes, raw, sizeof value);
  AppendValue(bytes.data(), bytes.size());
  return *this;
}

CNDBFile& CNDBFile::operator<<(TOK::FileToken token) {
  if (CanWrite() && FlushRun()) {
    std::string record(1, static_cast<char>(kTagToken));
    PutLE(&record, token, 2);
    AppendRecord(record.data(), record.size());
  }
  return *this;
}

CNDBFile& CNDBFile::operator<<(short value) { return WriteLE(value); }
CNDBFile& CNDBFile::operator<<(int value) { return WriteLE(value); }
CNDBFile& CNDBFile::operator<<(unsigned int value) { return WriteLE(value); }
CNDBFile& CNDBFile::operator<<(long long value) { return WriteLE(value); }
CNDBFile& CNDBFile::operator<<(unsigned long long value) { return WriteLE(value); }
CNDBFile& CNDBFile::operator<<(double value) { return WriteLE(value); }
CNDBFile& CNDBFile::operator<<(bool value) { return WriteLE(static_cast<uint8_t>(value ? 1 : 0)); }

CNDBFile& CNDBFile::operator<<(const char* value) {
  const size_t n = value ? std::strlen(value) : 0;
  WriteLE(static_cast<uint32_t>(n));
  AppendValue(value, n);
  return *this;
}

CNDBFile& CNDBFile::operator<<(const std::string& value) {
  WriteLE(static_cast<uint32_t>(value.size()));
  AppendValue(value.data(), value.size());
  return *this;
}

CNDBFile& CNDBFile::operator<<(const tagSIZE& value) {
  WriteLE(value.cx);
  return WriteLE(value.cy);
}

CNDBFile& CNDBFile::operator<<(const CNPBM& value) {
  WriteLE(value.Width());
  WriteLE(value.Height());
  AppendValue(value.GetPixels(), size_t{value.Width()} * value.Height() * 3);
  return *this;
}

int CNDBFile::Write(const unsigned char* buffer, int size) {
  if (size < 0 || (buffer == nullptr && size > 0)) return Fail(CNDBConstants::eInvalidArgument, ""), 0;
  const int before = lastError_;
  AppendValue(buffer, static_cast<size_t>(size));
  return lastError_ == before ? size : 0;
}

int CNDBFile::WriteBinary(const unsigned char* buffer, int size) {
  if (size < 0 || (buffer == nullptr && size > 0)) return Fail(CNDBConstants::eInvalidArgument, ""), 0;
  if (!CanWrite() || !FlushRun()) return 0;
  const int before = lastError_;
  const std::string header = LengthRecord(kTagBinary, static_cast<uint32_t>(size));
  AppendRecord(header.data(), header.size());
  if (lastError_ == before && size > 0) AppendRecord(buffer, static_cast<size_t>(size));
  return lastError_ == before ? size : 0;
}

int CNDBFile::WriteBinary(const char* buffer, int size) {
  return WriteBinary(reinterpret_cast<const unsigned char*>(buffer), size);
}

// --- reading ---

bool CNDBFile::ReadUnitBytes(uint64_t offset, void* data, size_t size) {
  size_t got = 0;
  Status st = bytes_->Read(*CurrentUnit(), offset, static_cast<uint8_t*>(data), size, &got);
  if (!st.ok()) Fail(st);
  return st.ok() && got == size;
}

void CNDBFile::MarkDamaged() {
  Fail(CNDBConstants::eStreamDamaged, "the token stream of unit '" + CurrentUnit()->name +
                                          "' is damaged at byte " + std::to_string(pos_));
  // Readers loop until the end of the unit; put them there.
  pos_ = valueEnd_ = CurrentUnit()->size;
  valueTag_ = 0;
}

bool CNDBFile::PeekHeader(Header* h) {
  const UnitRecord* unit = CurrentUnit();
  if (unit == nullptr || pos_ >= unit->size) return false;
  unsigned char raw[kLengthRecordSize];
  const uint64_t left = unit->size - pos_;
  const size_t have = static_cast<size_t>(std::min<uint64_t>(left, kLengthRecordSize));
  if (!ReadUnitBytes(pos_, raw, have)) return false;
  h->tag = raw[0];
  if (h->tag == kTagToken && have >= kTokenRecordSize) {
    h->token = static_cast<unsigned short>(GetLE(raw + 1, 2));
    h->length = 0;
    h->headerSize = kTokenRecordSize;
    return true;
  }
  if ((h->tag == kTagValue || h->tag == kTagBinary) && have >= kLengthRecordSize) {
    h->length = static_cast<uint32_t>(GetLE(raw + 1, 4));
    h->headerSize = kLengthRecordSize;
    if (h->length <= left - kLengthRecordSize) return true;
  }
  MarkDamaged();
  return false;
}

TOK::FileToken CNDBFile::ReadNextTokenEx() {
  if (!open_ || CurrentUnit() == nullptr) return Fail(CNDBConstants::eNoUnitSelected, ""), TOK::None;
  FlushRun();
  if (pos_ < valueEnd_) pos_ = valueEnd_;
  Header h;
  while (PeekHeader(&h)) {
    pos_ += h.headerSize;
    valueEnd_ = pos_ + h.length;
    valueTag_ = h.tag;
    valueLength_ = h.length;
    if (h.tag == kTagToken) return TOK::FileToken(h.token);
    if (h.tag == kTagBinary) return TOK::Binary;
    pos_ = valueEnd_;  // plain values nobody asked for
  }
  return TOK::None;
}

TOK::FileToken CNDBFile::GetNextToken() {
  if (!open_ || CurrentUnit() == nullptr) return TOK::None;
  FlushRun();
  Header h;
  if (pos_ < valueEnd_ || !PeekHeader(&h)) return TOK::None;
  if (h.tag == kTagToken) return TOK::FileToken(h.token);
  return h.tag == kTagBinary ? TOK::Binary : TOK::None;
}

unsigned int CNDBFile::GetBinarySize() {
  if (!open_ || CurrentUnit() == nullptr) return 0;
  if (pos_ < valueEnd_ || (pos_ == valueEnd_ && valueTag_ == kTagBinary && valueLength_ == 0)) {
    return valueTag_ == kTagBinary ? valueLength_ : 0;
  }
  Header h;
  return PeekHeader(&h) && h.tag == kTagBinary ? h.length : 0;
}

int CNDBFile::Read(unsigned char* buffer, int size) {
  if (!open_ || CurrentUnit() == nullptr) return Fail(CNDBConstants::eNoUnitSelected, ""), 0;
  if (size <= 0 || buffer == nullptr) return 0;
  FlushRun();
  int got = 0;
  while (got < size) {
    if (pos_ < valueEnd_) {
      const size_t take = static_cast<size_t>(std::min<uint64_t>(size - got, valueEnd_ - pos_));
      if (!ReadUnitBytes(pos_, buffer + got, take)) break;
      pos_ += take;
      got += static_cast<int>(take);
      continue;
    }
    Header h;
    if (!PeekHeader(&h) || h.tag != kTagValue) break;
    pos_ += h.headerSize;
    valueEnd_ = pos_ + h.length;
    valueTag_ = h.tag;
    valueLength_ = h.length;
  }
  return got;
}

template <typename T>
CNDBFile& CNDBFile::ReadLE(T* value) {
  unsigned char raw[sizeof(T)];
  uint64_t v = 0;
  if (Read(raw, sizeof raw) == static_cast<int>(sizeof raw)) {
    v = GetLE(raw, sizeof raw);
  } else if (open_) {
    Fail(CNDBConstants::eValueTruncated, "");
  }
  std::memcpy(value, &v, sizeof(T));
  return *this;
}

CNDBFile& CNDBFile::operator>>(short& value) { return ReadLE(&value); }
CNDBFile& CNDBFile::operator>>(unsigned short& value) { return ReadLE(&value); }
CNDBFile& CNDBFile::operator>>(int& value) { return ReadLE(&value); }
CNDBFile& CNDBFile::operator>>(unsigned int& value) { return ReadLE(&value); }

CNDBFile& CNDBFile::operator>>(CNPBM& value) {
  unsigned short width = 0, height = 0;
  ReadLE(&width);
  ReadLE(&height);
  const uint64_t bytes = uint64_t{width} * height * 3;
  // The sides come from the unit: a damaged one must not make us allocate gigabytes.
  const UnitRecord* unit = CurrentUnit();
  if (unit == nullptr || bytes > unit->size - std::min(pos_, unit->size)) {
    value.SetSize(0, 0);
    if (unit != nullptr) {
      Fail(CNDBConstants::eDamagedData, "the icon in unit '" + unit->name + "' claims " + std::to_string(width) +
                                            "x" + std::to_string(height) + " pixels, more than the unit holds");
    }
    return *this;
  }
  value.SetSize(width, height);
  uint64_t got = 0;
  while (got < bytes) {
    const int piece = static_cast<int>(std::min<uint64_t>(bytes - got, 1u << 30));
    if (Read(value.GetPixels() + got, piece) != piece) break;
    got += static_cast<uint64_t>(piece);
  }
  if (got < bytes) {
    Fail(CNDBConstants::eValueTruncated, "");
    value.SetSize(0, 0);
  }
  return *this;
}

bool CNDBFile::IsEOU() {
  const UnitRecord* unit = CurrentUnit();
  if (!open_ || unit == nullptr) return true;
  FlushRun();
  return pos_ >= unit->size && pos_ >= valueEnd_;
}

// --- raw bytes ---

unsigned int CNDBFile::RawRead(int unit, unsigned long long offset, char* buffer,
                               unsigned int size, bool* flag) {
  if (flag) *flag = true;
  if (!open_) return Fail(CNDBConstants::eFileNotOpen, ""), kRawFailure;
  if (unit < 1 || unit > static_cast<int>(units_.size()) || buffer == nullptr) {
    return Fail(CNDBConstants::eUnitNotFound, "no unit at index " + std::to_string(unit)), kRawFailure;
  }
  FlushRun();
  size = std::min(size, kRawFailure - 1);
  size_t got = 0;
  Status st = bytes_->Read(units_[unit - 1], offset, reinterpret_cast<uint8_t*>(buffer), size, &got);
  if (!st.ok()) return Fail(st), kRawFailure;
  if (unit == current_) {
    pos_ = valueEnd_ = offset + got;
    valueTag_ = 0;
  }
  return static_cast<unsigned int>(got);
}

unsigned int CNDBFile::RawWrite(int unit, int packet, const char* buffer, unsigned int size, bool*) {
  if (!open_) return Fail(CNDBConstants::eFileNotOpen, ""), 0;
  if (!writable_) return Fail(CNDBConstants::eNotWritable, ""), 0;
  if (unit < 1 || unit > static_cast<int>(units_.size())) {
    return Fail(CNDBConstants::eUnitNotFound, "no unit at index " + std::to_string(unit)), 0;
  }
  if (packet < 0 || (buffer == nullptr && size > 0)) return Fail(CNDBConstants::eInvalidArgument, ""), 0;
  if (Materialize() != 0 || !FlushRun()) return 0;
  Status st = bytes_->Write(&units_[unit - 1], static_cast<uint64_t>(packet) * kPacketSize,
                            reinterpret_cast<const uint8_t*>(buffer), size);
  if (!st.ok()) {
    writeFailed_ = true;
    return Fail(st), 0;
  }
  return size;
}
