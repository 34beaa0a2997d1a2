#pragma once
// A fresh database in a temporary folder, with the two file types of the importers.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "import/db/Database.h"
#include "tests/support/TempDir.h"

namespace nox::test {

constexpr int kImageType = 49;
constexpr int kClipType = 248;

class DbTest : public ::testing::Test {
 protected:
  void SetUp() override {
    path_ = dir_.File("media.noxdb");
    session_ = std::make_unique<CNoxDbI>(path_.c_str());
    ASSERT_TRUE(session_->IsValid()) << session_->GetLastErrorStr();
    ASSERT_TRUE(session_->CreateFileType(kImageType, "IMAGE", false));
    ASSERT_TRUE(session_->CreateFileType(kClipType, "VIDEO_CLIP", false));
  }

  // Creates a file whose units each hold one string token record, in the current folder.
  CUUID MakeFile(const std::string& name, int type, const std::vector<std::string>& units) {
    CNDBFile file(session_.get());
    for (const auto& u : units) file.AddAttribute(u.c_str(), nullptr);
    EXPECT_EQ(file.Create(name.c_str(), type, file.GetFileUnitCount(), 0xFFF, nullptr, 0), 0)
        << session_->GetLastErrorStr();
    for (const auto& u : units) {
      EXPECT_EQ(file.SelectUnit(u.c_str(), 0, false), 0);
      file << TOK::FileToken(100) << ("content of " + u) << TOK::Closing(TOK::FileToken(100));
    }
    EXPECT_EQ(file.GetLastError(), 0);
    return file.GetUuid();
  }

  // The string of a unit written by MakeFile, or "" when the unit or file is missing.
  std::string UnitText(CNoxDbI& session, const CUUID& id, const std::string& unit) {
    CNDBFile file(&session);
    if (file.Open(id, CNDBFile::kModeRead, -1, nullptr, 0) != 0) return "";
    if (file.SelectUnit(unit.c_str(), 0, false) != 0 || file.ReadNextTokenEx() != 100) return "";
    unsigned int length = 0;
    file >> length;
    std::string text(length, '\0');
    file.Read(reinterpret_cast<unsigned char*>(text.data()), static_cast<int>(length));
    return text;
  }

  std::string UnitText(const CUUID& id, const std::string& unit) { return UnitText(*session_, id, unit); }

  TempDir dir_;
  std::string path_;
  std::unique_ptr<CNoxDbI> session_;
};

}  // namespace nox::test
