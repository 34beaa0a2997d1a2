#include "db/NDBConstants.h"

#include <cstring>

CNDBConstants::DBERROR::DBERROR() : code(0) {}
CNDBConstants::DBERROR::~DBERROR() = default;

const char* CNDBConstants::ValidatedName(char* name, EValidate) {
  if (name == nullptr) return nullptr;
  for (char* p = name; *p; ++p) {
    const unsigned char c = static_cast<unsigned char>(*p);
    if (c < 0x20 || c == 0x7F || std::strchr("/\\:*?\"<>|", c) != nullptr) *p = '_';
  }
  return name;
}

const char* CNDBConstants::ErrorText(int code) {
  switch (code) {
    case eOk: return "no error";
    case eGeneralFailure: return "the write failed";
    case eWrongType: return "the file is of another type";
    case eDamagedData: return "the unit holds damaged data";
    case eNoMemory: return "not enough memory";
    case eFileNotFound: return "file not found";
    case eCannotOpenDatabase: return "the database cannot be opened";
    case eNameTaken: return "a file of that name and type already exists in the folder";
    case eUuidTaken: return "a file with that identifier already exists";
    case eUnitNotFound: return "unit not found";
    case eFileNotOpen: return "the file is not open";
    case eNotWritable: return "the file is open for reading only";
    case eFolderNotFound: return "folder not found";
    case eInvalidArgument: return "invalid argument";
    case eStorageFailure: return "the storage failed";
    case eSessionBusy: return "another file is being written on this session";
    case eStreamDamaged: return "the unit's token stream is damaged";
    case eUnknownFileType: return "unknown file type";
    case eAlreadyOpen: return "the file object already holds an open file";
    case eValueTruncated: return "the value is shorter than the read";
    case eNoUnitSelected: return "no unit is selected";
    case eAddonSourceUnreadable: return "the add-on source cannot be read";
    case eCancelled: return "cancelled";
    case eDiskFull: return "no space left on device";
    case eReadOnly: return "the database is open for reading only";
    default: return "unknown error";
  }
}
