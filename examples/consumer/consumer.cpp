// A program that uses the installed library: imports a picture into a database through the
// exported entry point, then lists the files at the top of the database.
//   consumer DATABASE PICTURE

#include <cstdio>
#include <vector>

#include "import/NoxDbImport.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: consumer DATABASE PICTURE\n");
    return 2;
  }
  CNoxDbI session(argv[1]);  // made when missing
  if (!session.IsValid()) {
    std::fprintf(stderr, "consumer: %s\n", session.GetLastErrorStr());
    return 1;
  }
  // Flags 0: stored as it comes, uncompressed; a picture of the same name is replaced.
  if (ImportImage(&session, argv[2], 0, true) != 0) {
    std::fprintf(stderr, "consumer: cannot import %s\n", argv[2]);
    return 1;
  }
  std::vector<CNoxDbI::FolderInfo> folders;
  std::vector<CNoxDbI::FileInfo> files;
  if (session.ListFolder(session.GetRootFolder(), &folders, &files) != 0) {
    std::fprintf(stderr, "consumer: %s\n", session.GetLastErrorStr());
    return 1;
  }
  for (const CNoxDbI::FileInfo& f : files) {
    std::printf("%s %s %llu %s\n", f.typeName.c_str(), f.uuid.ToString().c_str(),
                static_cast<unsigned long long>(f.bytes), f.name.c_str());
  }
  return 0;
}
