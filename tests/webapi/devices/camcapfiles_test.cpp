#include <sys/stat.h>

#include <fstream>
#include <thread>

#include "devices/devicesteps.h"
#include "log/log.h"
#include "slavedata.h"
#include "support/hosttest.h"

namespace {

namespace fs = std::filesystem;

struct CamCapFilesTest : support::HostTest {
  /// A list with one file. A model's name that ends in "-API" makes it a shared one.
  static Json::Value ListOf(const std::string& name, const std::string& model = "M1", int content = 1) {
    Json::Value list = Parse(R"([{"camVendor":"Acme"}])");
    list[0]["capFileName"] = name;
    list[0]["camModel"] = model;
    list[0]["camCap"] = content;
    return list;
  }
  /// Takes in a list with one file as one unit of work, and returns the platform's log lines about it.
  static Lines Take(int zr, const std::string& name, const std::string& model = "M1", int content = 1) {
    Lines lines;
    qv::log::SetSink([&](const qv::log::Line& line) {
      if (line.category == "DATABASE") lines.push_back(line.text);
    });
    TakeList(zr, ListOf(name, model, content));
    qv::log::Reset();
    return lines;
  }
  static void TakeList(int zr, const Json::Value& list) {
    support::InUnit(
        true, [&] { SaveCamCapFiles(zr, list); }, zr);
  }
  static void RemoveSlave(int zr) {
    support::InUnit(
        true, [&] { CamDelByZrId(zr); }, zr);
  }
  /// Ends the process and starts another one.
  void Restart() const {
    qv::db::Close();
    qv::db::Open(folder(), support::OptionsFor(folder()));
  }
  Lines Files() const { return support::DumpFiles(folder()); }
  /// A file of mode 0600 with a number.
  static std::string File(const std::string& path, int content = 1) {
    return "capability/" + path + " 384 " + std::to_string(content) + "\n";
  }
};

TEST_F(CamCapFilesTest, AreWrittenOnceUnderTheHostsId) {
  SaveCamCapFiles(7, Parse("[]"));
  EXPECT_FALSE(fs::exists(folder() / "capability"));
  const Json::Value list = Parse(R"([{"camVendor":"Acme","camModel":"M0","capFileName":"3/c"},
    {"camVendor":"Acme","camModel":"M1","capFileName":"3/acme/./M1.cap","camCap":{"ptz":true}},
    {"camVendor":"Acme","camModel":"M2-API","capFileName":"acme//M2.cap","camCap":{}},
    {"camVendor":"","camModel":"M3","capFileName":"3/a","camCap":{}}, {"camVendor":"Acme","capFileName":"3/b","camCap":{}},
    {"camVendor":"Acme","camModel":"M3","camCap":{}}, null])");
  TakeList(7, list);
  EXPECT_THAT(Files(),
              ElementsAre("capability/7/acme/M1.cap 384 {\n  \"ptz\": true\n}\n", "capability/acme/M2.cap 384 {}\n"));
  EXPECT_THAT(Rows("SELECT path,vendor,model FROM capability_file"),
              ElementsAre("7/acme/M1.cap|Acme|M1", "acme/M2.cap|Acme|M2-API"));
  EXPECT_THAT(Journal([&] { TakeList(7, list); }), IsEmpty()) << "the same list again writes nothing";
}

TEST_F(CamCapFilesTest, ARefusedNameSaysWhy) {
  Take(7, "0/v/a.cap");
  const struct {
    std::string name;
    const char* model;
    const char* reason;
  } cases[] = {
      {"0/../x", "M", "it has \"..\""},
      {std::string("0/a\0b", 5), "M", "it has a NUL"},
      {"0/x/.", "M", "it names a folder"},
      {"0", "M", "it names the folder of a server"},
      {"0/.new", "M", "files that are being written are called \".new\""},
      {"0/" + std::string(256, 'n'), "M", "it is too long"},
      {"0/v/a.cap/b", "M", "there is a file 7/v/a.cap"},
      {"0/v", "M", "there are files in a folder 7/v"},
      {"/etc/x.cap", "M-API", "it is absolute"},
      {"9/oculor/x.cap", "M-API", "a shared file cannot be in the folder of a server"},
      {"9.cap/x.cap", "M-API", "a folder of it ends in \".cap\""},
      {"oculor/x", "M-API", "that of a shared file must end in \".cap\""},
      {"00/x.cap", "M-API", "it begins with a number that is no server's id"},
  };
  for (const auto& [name, model, reason] : cases) {
    EXPECT_THAT(Take(7, name, model), ElementsAre(testing::EndsWith(reason))) << name;
  }
  EXPECT_THAT(Files(), ElementsAre(File("7/v/a.cap")));
  EXPECT_THAT(support::Only(Journal([] { SaveCamCapFiles(7, ListOf("../x")); }), "log"),
              ElementsAre("log 3 SaveCamCapFiles Failed to update zrId in cap file path. [../x]"));
}

TEST_F(CamCapFilesTest, ASharedFileGoesWithTheLastSlaveThatReportsIt) {
  Take(7, "acme/a.cap", "M-API", 1);
  Take(9, "acme/a.cap", "M-API", 2);
  EXPECT_THAT(Files(), ElementsAre(File("acme/a.cap", 1))) << "the first to report it says what is in it";
  RemoveSlave(7);
  EXPECT_THAT(Files(), ElementsAre(File("acme/a.cap", 2)));
  RemoveSlave(9);
  EXPECT_FALSE(fs::exists(folder() / "capability/acme"));
}

TEST_F(CamCapFilesTest, WhatIsInTheWayIsReportedAndHoldsUpNothingElse) {
  const fs::path own = folder() / "capability/7";
  const struct {
    const char* reason;
    std::function<void()> make;
  } obstacles[] = {
      {"a symbolic link is in the way", [&] { fs::create_directory_symlink(folder(), own); }},
      {"a folder is in the way", [&] { fs::create_directories(own / "a/b"); }},
      {"a file is in the way of a folder", [&] { std::ofstream(own) << "kept"; }},
      {"something that is no regular file is in the way",
       [&] {
         fs::create_directory(own);
         mkfifo((own / "a").c_str(), 0600);
       }},
  };
  for (const auto& [reason, obstacle] : obstacles) {
    fs::create_directory(own.parent_path());
    obstacle();
    EXPECT_THAT(Take(7, "0/a"), testing::Contains(testing::HasSubstr(reason)));
    Take(9, "0/a");
    EXPECT_THAT(Files(), testing::Contains(File("9/a"))) << reason;
    fs::remove_all(own);
    Restart();
    EXPECT_THAT(Files(), ElementsAre(File("7/a"), File("9/a"))) << reason;
    RemoveSlave(7);
    RemoveSlave(9);
  }
}

TEST_F(CamCapFilesTest, AProcessThatStartsMendsTheFolder) {
  Take(7, "0/new");
  Take(7, "0/v/new");
  const fs::path capability = folder() / "capability";
  using namespace std::string_literals;
  std::ofstream(capability / "7/new") << "damaged";
  fs::remove_all(capability / "7/v");
  std::ofstream(capability / "7/v") << "of a row that is gone";
  fs::create_directories(capability / "8/left/empty");
  std::ofstream(folder() / "capability.stamp") << "x\0../qvcms.db"s;
  Restart();
  EXPECT_THAT(Files(), ElementsAre(File("7/new"), File("7/v/new")));
  EXPECT_FALSE(fs::exists(capability / "8/left"));
  fs::remove_all(capability);
  Restart();
  EXPECT_THAT(Files(), ElementsAre(File("7/new"), File("7/v/new"))) << "a folder that somebody removed";
}

TEST_F(CamCapFilesTest, OneThreadAtATimeMakesTheFolder) {
  const fs::path capability = folder() / "capability";
  std::ofstream(capability) << "in the way";
  std::thread second;
  qv::log::SetSink([&](const qv::log::Line& line) {
    if (second.joinable() || line.category != "DATABASE") return;
    // The first thread is making the folder.
    fs::remove(capability);
    second = std::thread([] { SaveCamCapFiles(9, ListOf("0/b")); });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(fs::exists(capability)) << "the second did not wait";
  });
  SaveCamCapFiles(7, ListOf("0/a"));
  second.join();
  qv::log::Reset();
  EXPECT_THAT(Files(), ElementsAre(File("7/a"), File("9/b")));
}

TEST_F(CamCapFilesTest, GoOnWithoutTheFolder) {
  std::ofstream(folder() / "capability") << "in the way";
  EXPECT_THAT(Journal([] { SaveCamCapFiles(7, ListOf("0/a")); }),
              ElementsAre("failed to make " + (folder() / "capability").string(),
                          "log 3 SaveCamCapFiles CheckAndMakeCapDir failed.", "insert capability_file 1",
                          "failed to bring the file capability/7/a up to date"));
}

}  // namespace
