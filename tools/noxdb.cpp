// noxdb: create, inspect, check and read media databases from the command line.
// Exit status: 0 all went well, 1 failure, 2 usage error.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <vector>

#include "tools/Command.h"
#include "tools/StreamDump.h"
#ifdef NOXDB_IMPORT
#include "tools/ClipImport.h"
#include "tools/Gallery.h"
#include "tools/ImageCommands.h"
#include "tools/ImportCommand.h"
#endif

namespace {

using nox::tools::Commands;
using nox::tools::Fail;
using noxdb::OpenMode;

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

void OpenForReading(CNoxDbI& session, CNDBFile& f, const std::string& file) {
  if (f.Open(ResolveFile(session, file), CNDBFile::kModeRead, -1, nullptr, 0) != 0) {
    Fail(session.GetLastErrorStr());
  }
}

void AddInit(CLI::App& app, Commands& commands) {
  auto* cmd = app.add_subcommand("init", "create the database if it does not exist");
  commands.Add(cmd, OpenMode::Create, [](CNoxDbI&) { return 0; });
}

void AddMkdir(CLI::App& app, Commands& commands) {
  auto* cmd = app.add_subcommand("mkdir", "create a folder (and missing parents)");
  static std::string folder;
  cmd->add_option("FOLDER", folder)->required();
  commands.Add(cmd, OpenMode::Existing, [](CNoxDbI& session) {
    if (session.CreateFolder(folder.c_str(), nullptr) != 0) Fail(session.GetLastErrorStr());
    return 0;
  });
}

void AddLs(CLI::App& app, Commands& commands) {
  auto* cmd = app.add_subcommand("ls", "list a folder: type, identifier, checksum, bytes, name");
  static std::string folderPath;
  cmd->add_option("FOLDER", folderPath);
  commands.Add(cmd, OpenMode::ReadOnly, [](CNoxDbI& session) {
    CUUID folder = session.GetCurrentFolder();
    if (!folderPath.empty() && session.FindFolder(folderPath.c_str(), &folder) != 0) {
      Fail(session.GetLastErrorStr());
    }
    std::vector<CNoxDbI::FolderInfo> folders;
    std::vector<CNoxDbI::FileInfo> files;
    if (session.ListFolder(folder, &folders, &files) != 0) Fail(session.GetLastErrorStr());
    for (const auto& f : folders) std::printf("%-12s %s/\n", "folder", f.name.c_str());
    for (const auto& f : files) {
      std::printf("%-12s %s  %s  %12llu  %s\n",
                  f.typeName.empty() ? std::to_string(f.type).c_str() : f.typeName.c_str(),
                  f.uuid.ToString().c_str(), f.checksum.empty() ? "-" : f.checksum.c_str(),
                  static_cast<unsigned long long>(f.bytes), f.name.c_str());
    }
    return 0;
  });
}

void AddInfo(CLI::App& app, Commands& commands) {
  auto* cmd = app.add_subcommand("info", "show a file's units, keywords and add-ons");
  static std::string file;
  cmd->add_option("FILE", file, "name or identifier")->required();
  commands.Add(cmd, OpenMode::ReadOnly, [](CNoxDbI& session) {
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
      std::printf("  %-20s %12llu bytes%s\n", u.name.c_str(), static_cast<unsigned long long>(u.bytes),
                  Size(u).c_str());
    }
#ifdef NOXDB_IMPORT
    nox::tools::PrintImageDetails(session, info.uuid);
#endif
    std::printf("add-ons:\n");
    for (const auto& a : info.addons) {
      std::printf("  %-20s %12llu bytes\n", a.name.c_str(), static_cast<unsigned long long>(a.bytes));
    }
    return 0;
  });
}

void AddDump(CLI::App& app, Commands& commands) {
  auto* cmd = app.add_subcommand("dump", "decode a file's token streams");
  static std::string file, unit;
  cmd->add_option("FILE", file, "name or identifier")->required();
  cmd->add_option("UNIT", unit, "only this unit");
  commands.Add(cmd, OpenMode::ReadOnly, [](CNoxDbI& session) {
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
    return 0;
  });
}

void AddCat(CLI::App& app, Commands& commands) {
  auto* cmd = app.add_subcommand("cat", "write a unit's stored bytes to standard output");
  static std::string file, unit;
  cmd->add_option("FILE", file, "name or identifier")->required();
  cmd->add_option("UNIT", unit)->required();
  commands.Add(cmd, OpenMode::ReadOnly, [](CNoxDbI& session) {
    CNDBFile f(&session);
    OpenForReading(session, f, file);
    const int index = f.FindUnit(unit.c_str());
    if (index < 1) Fail("no unit '" + unit + "' in " + file);
    std::vector<char> buffer(session.GetBufferSize());
    bool flag = false;
    for (unsigned long long offset = 0;;) {
      const unsigned int n =
          f.RawRead(index, offset, buffer.data(), static_cast<unsigned int>(buffer.size()), &flag);
      if (n == 0) break;
      if (n == 0xFFFFFFFF) Fail(session.GetLastErrorStr());
      if (std::fwrite(buffer.data(), 1, n, stdout) != n) Fail("cannot write to standard output");
      offset += n;
    }
    return 0;
  });
}

void AddRm(CLI::App& app, Commands& commands) {
  auto* cmd = app.add_subcommand("rm", "delete a file");
  static std::string file;
  cmd->add_option("FILE", file, "name or identifier")->required();
  commands.Add(cmd, OpenMode::Existing, [](CNoxDbI& session) {
    const CUUID id = ResolveFile(session, file);
    if (session.DeleteFileA(id, nullptr, CNDBConstants::eDeleteDefault) != 0) Fail(session.GetLastErrorStr());
    return 0;
  });
}

// The store's integrity check, and every unit's bytes against the content digest recorded
// when its file was written. A file's MD5 checksum describes the media it was imported from,
// which the stored units do not always hold byte for byte, so it is not what is verified.
void AddCheck(CLI::App& app, Commands& commands) {
  auto* cmd = app.add_subcommand("check", "verify the database and the stored bytes of every file");
  static std::string file;
  cmd->add_option("FILE", file, "only this file: name or identifier");
  commands.Add(cmd, OpenMode::ReadOnly, [](CNoxDbI& session) {
    CNoxDbI::CheckReport report;
    if (session.Check(file.c_str(), &report) != 0) Fail(session.GetLastErrorStr());
    for (const auto& problem : report.problems) std::printf("%s\n", problem.c_str());
    std::printf("checked %d files, %d units: %zu problem%s\n", report.files, report.units,
                report.problems.size(), report.problems.size() == 1 ? "" : "s");
    if (report.undigested > 0) {
      std::printf("%d units from before content digests were kept were not verified\n", report.undigested);
    }
    return report.problems.empty() ? nox::tools::kExitOk : nox::tools::kExitFailure;
  });
}

#ifdef NOXDB_IMPORT
void AddImportClip(CLI::App& app, Commands& commands, const nox::tools::Options& options) {
  auto* cmd = app.add_subcommand("import-clip", "import a clip from its XML description");
  static std::string description;
  static bool overwrite = false;
  cmd->add_option("DESCRIPTION", description, "the clip's description file")->required();
  cmd->add_flag("--overwrite", overwrite, "replace the clip of the same name");
  commands.Add(cmd, OpenMode::Create, [&options](CNoxDbI& session) {
    CUUID id;
    std::string failure;
    {
      nox::tools::LibraryOutput quiet(options.verbose);
      failure = nox::tools::ImportClip(session, options.database, description, overwrite, &id);
    }
    if (!failure.empty()) Fail(failure);
    CNoxDbI::FileInfo imported;
    if (session.GetFileInfo(id, &imported) != 0) Fail(session.GetLastErrorStr());
    std::printf("imported %s  %s\n", imported.uuid.ToString().c_str(), imported.name.c_str());
    return 0;
  });
}
#endif

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"noxdb: create, inspect, check and read media databases"};
  app.require_subcommand(1);
  nox::tools::Options options;
  app.add_option("--db", options.database, "the database file")->required();
  app.add_flag("--verbose", options.verbose, "show the library's debug lines on standard error");

  Commands commands;
  AddInit(app, commands);
  AddMkdir(app, commands);
  AddLs(app, commands);
  AddInfo(app, commands);
  AddDump(app, commands);
  AddCat(app, commands);
  AddRm(app, commands);
  AddCheck(app, commands);
#ifdef NOXDB_IMPORT
  AddImportClip(app, commands, options);
  nox::tools::AddImageCommands(app, commands, options);
  nox::tools::AddImport(app, commands, options);
  nox::tools::AddGallery(app, commands, options);
#endif

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    // Help is not an error; every other parse failure is a usage error.
    const int status = app.exit(e);
    return e.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success) ? status : nox::tools::kExitUsage;
  }
  try {
    return commands.RunParsed(options);
  } catch (const nox::tools::Failure& f) {
    std::fflush(stdout);
    std::fprintf(stderr, "noxdb: %s\n", f.message.c_str());
    return nox::tools::kExitFailure;
  }
}
