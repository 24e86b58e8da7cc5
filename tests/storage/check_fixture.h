// A data directory to damage: three databases, one of each kind, whose bytes are made by hand.
#pragma once

#include <gmock/gmock.h>

#include <map>
#include <vector>

#include "storage/files/system.h"
#include "storage/repair/directory_check.h"
#include "support/file_images.h"
#include "support/scratch_directory.h"

using testing::HasSubstr;
using testing::IsEmpty;
using vorne::CheckDirectory;
using vorne::DirectoryReport;
using vorne::RepairDirectory;

class CheckTest : public testing::Test {
 protected:
  void SetUp() override {
    useSystem();
    std::filesystem::create_directory("DB");
    std::vector<std::string> mixed, equal;
    for (std::size_t i = 0; i < 12; ++i) {
      mixed.push_back("sale " + std::to_string(i) + std::string(13 + i * 5, static_cast<char>('a' + i)));
      equal.push_back("key " + std::string(20, static_cast<char>('A' + i)));
    }
    files = {{"SALES", images::dataFile('V', "fields of the table, 40 bytes of them...", mixed)},
             {"INDEX", images::dataFile('B', "", equal)},
             {"CONF", images::dataFile('X', "head", equal)},
             {"catalog.plm", images::catalog({{"SALES", "DATA"}, {"", ""}, {"INDEX", "INDX"}, {"CONF", "CONF"}})}};
    files["SALES_OS"] = images::offsetsFile(files["SALES"]);
    files["catalog.bck"] = files["catalog.plm"];
    sound = files;
    store();
  }
  void TearDown() override { vorne::fileSystem = vorne::kSystem; }

  static void useSystem() {
    vorne::fileSystem = vorne::kSystem;
    vorne::fileSystem.fsync = [](int) { return 0; };
  }
  /// The directory as `files` says, and nothing else in it.
  void store() const {
    for (const auto& entry : std::filesystem::directory_iterator("DB")) std::filesystem::remove_all(entry);
    for (const auto& [name, bytes] : files) writeFile("DB/" + name, bytes);
  }
  static std::map<std::string, std::string> stored() {
    std::map<std::string, std::string> all;
    for (const auto& entry : std::filesystem::directory_iterator("DB"))
      if (entry.is_regular_file()) all[entry.path().filename()] = readFile(entry.path());
    return all;
  }
  static std::vector<std::string> records(const std::string& name) { return images::records(readFile("DB/" + name)); }

  static std::string words(const std::vector<vorne::Problem>& problems) {
    std::string all;
    for (const vorne::Problem& problem : problems)
      all += problem.file + " " + std::to_string(problem.record) + ": " + problem.problem +
             (problem.repaired ? " (repaired)\n" : "\n");
    return all;
  }

  ScratchDirectory directory_;
  std::map<std::string, std::string> files, sound;
};
