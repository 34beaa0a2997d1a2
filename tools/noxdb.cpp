// noxdb: create, inspect and read media databases from the command line.

#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <memory>
#include <vector>

#include "import/db/Database.h"
#include "tools/StreamDump.h"
#ifdef NOXDB_IMPORT
#include "tools/ClipImport.h"
#endif

namespace {

// A failure that ends the command: one line on standard error and exit status 1.
struct Failure {
  std::string message;
};

[[noreturn]] void Fail(const std::string& message) { throw Failure{message}; }

std::unique_ptr<CNoxDbI> OpenSession(const std::string& path, bool create) {
  struct stat st{};
  if (!create && stat(path.c_str(), &st) != 0) Fail("no database at '" + path + "'");
  auto session = std::make_unique<CNoxDbI>(path.c_str());
  if (!session->IsValid()) Fail(session->GetLastErrorStr());
  return session;
}

CUUID ResolveFile(CNoxDbI& session, const std::string& file) {
  CUUID id;
  if (session.FindFile(file.c_str(), &id) != 0) Fail(session.GetLastErrorStr());
  return id;
}

std::string Time(int64_t seconds) {
  char text[32];
  const time_t t = static_cast<time_t>(seconds);
  std::tm tm{};
  gmtime_r(&t, &tm);
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &tm);
  return text;
}

std::string Size(const CNoxDbI::UnitInfo& u) {
  return u.hasSize ? " " + std::to_string(u.width) + "x" + std::to_string(u.height) : "";
}

void List(CNoxDbI& session, const std::string& folderPath) {
  CUUID folder = session.GetCurrentFolder();
  if (!folderPath.empty() && session.FindFolder(folderPath.c_str(), &folder) != 0) {
    Fail(session.GetLastErrorStr());
  }
  std::vector<CNoxDbI::FolderInfo> folders;
  std::vector<CNoxDbI::FileInfo> files;
  if (session.ListFolder(folder, &folders, &files) != 0) Fail(session.GetLastErrorStr());
  for (const auto& f : folders) std::printf("%-12s %s/\n", "folder", f.name.c_str());
  for (const auto& f : files) {
    std::printf("%-12s %s  %s  %12llu  %s\n", f.typeName.empty() ? std::to_string(f.type).c_str() : f.typeName.c_str(),
                f.uuid.ToString().c_str(), f.checksum.empty() ? "-" : f.checksum.c_str(),
                static_cast<unsigned long long>(f.bytes), f.name.c_str());
  }
}

void Info(CNoxDbI& session, const std::string& file) {
  CNoxDbI::FileInfo info;
  if (session.GetFileInfo(ResolveFile(session, file), &info) != 0) Fail(session.GetLastErrorStr());
  std::printf("name:       %s\n", info.name.c_str());
  std::printf("folder:     %s\n", info.folderPath.c_str());
  std::printf("identifier: %s\n", info.uuid.ToString().c_str());
  std::printf("type:       %d %s\n", info.type, info.typeName.c_str());
  std::printf("checksum:   %s\n", info.checksum.empty() ? "-" : info.checksum.c_str());
  std::printf("created:    %s\n", Time(info.created).c_str());
  std::printf("changed:    %s\n", Time(info.changed).c_str());
  std::string keywords;
  for (const auto& k : info.keywords) keywords += (keywords.empty() ? "" : ", ") + k;
  std::printf("keywords:   %s\n", keywords.c_str());
  std::printf("units:\n");
  for (const auto& u : info.units) {
    std::printf("  %-20s %12llu bytes%s\n", u.name.c_str(), static_cast<unsigned long long>(u.bytes), Size(u).c_str());
  }
  std::printf("add-ons:\n");
  for (const auto& a : info.addons) {
    std::printf("  %-20s %12llu bytes\n", a.name.c_str(), static_cast<unsigned long long>(a.bytes));
  }
}

void OpenForReading(CNoxDbI& session, CNDBFile& f, const std::string& file) {
  if (f.Open(ResolveFile(session, file), CNDBFile::kModeRead, -1, nullptr, 0) != 0) {
    Fail(session.GetLastErrorStr());
  }
}

void Dump(CNoxDbI& session, const std::string& file, const std::string& unit) {
  CNDBFile f(&session);
  OpenForReading(session, f, file);
  FileState state;
  f.GetFileStatus(state);
  bool found = false;
  for (const auto& u : state.units) {
    if (!unit.empty() && u.name() != unit) continue;
    found = true;
    f.SelectUnitByIndex(u.index(), 0, 0);
    std::cout << u.name() << '\n';
    nox::tools::DumpUnit(f, std::cout);
  }
  if (!found) Fail("no unit '" + unit + "' in " + file);
}

void Cat(CNoxDbI& session, const std::string& file, const std::string& unit) {
  CNDBFile f(&session);
  OpenForReading(session, f, file);
  const int index = f.FindUnit(unit.c_str());
  if (index < 1) Fail("no unit '" + unit + "' in " + file);
  std::vector<char> buffer(session.GetBufferSize());
  bool flag = false;
  unsigned long long offset = 0;
  for (;;) {
    const unsigned int n = f.RawRead(index, offset, buffer.data(), static_cast<unsigned int>(buffer.size()), &flag);
    if (n == 0) break;
    if (n == 0xFFFFFFFF) Fail(session.GetLastErrorStr());
    if (std::fwrite(buffer.data(), 1, n, stdout) != n) Fail("cannot write to standard output");
    offset += n;
  }
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"noxdb: create, inspect and read media databases"};
  app.require_subcommand(1);
  std::string db;
  app.add_option("--db", db, "the database file")->required();

  std::string folder, file, unit;
  auto* init = app.add_subcommand("init", "create the database if it does not exist");
  auto* mkdir = app.add_subcommand("mkdir", "create a folder (and missing parents)");
  mkdir->add_option("FOLDER", folder)->required();
  auto* ls = app.add_subcommand("ls", "list a folder: type, identifier, checksum, bytes, name");
  ls->add_option("FOLDER", folder);
  auto* info = app.add_subcommand("info", "show a file's units, keywords and add-ons");
  info->add_option("FILE", file, "name or identifier")->required();
  auto* dump = app.add_subcommand("dump", "decode a file's token streams");
  dump->add_option("FILE", file, "name or identifier")->required();
  dump->add_option("UNIT", unit, "only this unit");
  auto* cat = app.add_subcommand("cat", "write a unit's stored bytes to standard output");
  cat->add_option("FILE", file, "name or identifier")->required();
  cat->add_option("UNIT", unit)->required();
  auto* rm = app.add_subcommand("rm", "delete a file");
  rm->add_option("FILE", file, "name or identifier")->required();
#ifdef NOXDB_IMPORT
  std::string description;
  bool overwrite = false;
  auto* importClip = app.add_subcommand("import-clip", "import a clip from its XML description");
  importClip->add_option("DESCRIPTION", description, "the clip's description file")->required();
  importClip->add_flag("--overwrite", overwrite, "replace the clip of the same name");
#endif

  CLI11_PARSE(app, argc, argv);
  try {
    bool creates = init->parsed() || mkdir->parsed();
#ifdef NOXDB_IMPORT
    creates = creates || importClip->parsed();
#endif
    auto session = OpenSession(db, creates);
    if (mkdir->parsed() && session->CreateFolder(folder.c_str(), nullptr) != 0) Fail(session->GetLastErrorStr());
    if (ls->parsed()) List(*session, folder);
    if (info->parsed()) Info(*session, file);
    if (dump->parsed()) Dump(*session, file, unit);
    if (cat->parsed()) Cat(*session, file, unit);
    if (rm->parsed()) {
      const CUUID id = ResolveFile(*session, file);
      if (session->DeleteFileA(id, nullptr, CNDBConstants::eDeleteDefault) != 0) Fail(session->GetLastErrorStr());
    }
#ifdef NOXDB_IMPORT
    if (importClip->parsed()) {
      CUUID id;
      const std::string failure = nox::tools::ImportClip(*session, db, description, overwrite, &id);
      if (!failure.empty()) Fail(failure);
      CNoxDbI::FileInfo imported;
      if (session->GetFileInfo(id, &imported) != 0) Fail(session->GetLastErrorStr());
      std::printf("imported %s  %s\n", imported.uuid.ToString().c_str(), imported.name.c_str());
    }
#endif
  } catch (const Failure& f) {
    std::fflush(stdout);
    std::fprintf(stderr, "noxdb: %s\n", f.message.c_str());
    return 1;
  }
  return 0;
}
