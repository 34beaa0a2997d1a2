#pragma once
// Constants, codes and small records of the media database.

#include <string>

class CNDBConstants {
 public:
  // Optional abilities of a database, asked through CNoxDbI::Supports.
  enum EFeature : int {
    eFeatureAddons = 4,     // files may carry add-ons
    eFeatureChecksum = 20,  // files carry an MD5 checksum of their source
  };

  // Result codes. 0 is success; every failure is negative and has its own text (ErrorText).
  enum EError : int {
    eOk = 0,
    eGeneralFailure = -32768,  // a write failed and the file reported nothing more precise
    eWrongType = -32764,       // the file is of another type than asked for
    eDamagedData = -32763,     // a unit holds data that cannot be what it claims
    eNoMemory = -32760,        // memory for a value could not be had
    eFileNotFound = -32729,    // no file with that identifier or name
    eCannotOpenDatabase = -32700,
    eNameTaken = -32701,       // a file of that name and type is already in the folder
    eUuidTaken = -32702,       // a file with that identifier already exists
    eUnitNotFound = -32703,
    eFileNotOpen = -32704,
    eNotWritable = -32705,     // the file is open for reading only
    eFolderNotFound = -32706,
    eInvalidArgument = -32707,
    eStorageFailure = -32708,  // the storage below reported an error; its text follows
    eSessionBusy = -32709,     // another file is being written on this session
    eStreamDamaged = -32711,   // a unit's token stream cannot be parsed
    eUnknownFileType = -32712,
    eAlreadyOpen = -32713,     // the file object already holds an open file
    eValueTruncated = -32714,  // a read asked for more value bytes than stand before the next token
    eNoUnitSelected = -32715,
    eAddonSourceUnreadable = -32716,
    eCancelled = -32717,
    eDiskFull = -32718,        // the device holding the database has no space left
    eReadOnly = -32719,        // the database was opened for reading only
  };

  enum EValidate : int { eValidateName = 0 };

  enum eDeleteRefFlags : int { eDeleteDefault = 0 };

  // Extra answers to a feature query; no feature fills any yet.
  class CSupportInfo {};

  // The outcome of an add-on operation.
  class DBERROR {
   public:
    DBERROR();
    ~DBERROR();
    int code;
    std::string text;
  };

  // Rewrites `name` in place, keeping its length, so that the database accepts it: control
  // characters and / \ : * ? " < > | become '_'. Returns `name`; a null name stays null.
  static const char* ValidatedName(char* name, EValidate mode);

  // The fixed text of a result code, for codes that carry no text of their own.
  static const char* ErrorText(int code);
};
