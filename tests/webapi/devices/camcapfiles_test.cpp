#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <fstream>
#include <thread>

#include "devices/devicesteps.h"
#include "files/descriptor.h"
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
  /// Takes the list in as one unit of work. @return how many operations failed
  static int TakeList(int zr, const Json::Value& list, const std::function<void()>& after_commit = nullptr) {
    qv::db::UnitOfWork unit(zr);
    if (after_commit) qv::db::OnCommit(after_commit);
    SaveCamCapFiles(zr, list);
    unit.Commit();
    return unit.failures();
  }
  static int Take(int zr, const std::string& name, const std::string& model = "M1", int content = 1) {
    return TakeList(zr, ListOf(name, model, content));
  }
  static void RemoveSlave(int zr) {
    support::InUnit(
        true, [&] { EXPECT_EQ(CamDelByZrId(zr), 0); }, zr);
  }
  /// Ends the process and starts another one.
  void Restart() const {
    qv::db::Close();
    qv::db::Options options;
    options.factory = support::WatchedDriver();
    options.driver.durability = qv::db::Durability::Process;
    qv::db::Open(folder(), options);
  }
  /// The log lines of the platform about the list, with their reasons.
  static Lines Failures(const Json::Value& list) {
    Lines lines;
    qv::log::SetSink([&](const qv::log::Line& line) {
      if (line.category == "DATABASE") lines.push_back(line.text);
    });
    TakeList(7, list);
    qv::log::Reset();
    return lines;
  }
  static void Limit(__rlimit_resource resource, rlim_t most) {
    rlimit limit{};
    getrlimit(resource, &limit);
    limit.rlim_cur = most;
    ASSERT_EQ(setrlimit(resource, &limit), 0);
  }
  /// From now on the process gets no more than `count` descriptors.
  static void AllowDescriptors(int count) {
    const qv::files::FileDescriptor next(dup(0));
    Limit(RLIMIT_NOFILE, static_cast<rlim_t>(next.get() + count));
  }
  Lines Files() const { return support::DumpFiles(folder()); }
  /// A file of mode 0600 with a number.
  static std::string File(const std::string& path, int content = 1) {
    return "capability/" + path + " 384 " + std::to_string(content) + "\n";
  }
};

TEST_F(CamCapFilesTest, AreWrittenOnceUnderTheHostsId) {
  EXPECT_THAT(Journal([] { SaveCamCapFiles(7, Parse("[]")); }, 7), IsEmpty());
  EXPECT_FALSE(fs::exists(folder() / "capability"));
  const Json::Value list = Parse(R"([
    {"camVendor":"Acme","camModel":"M1","capFileName":"3/acme/./M1.cap","camCap":{"ptz":true}},
    {"camVendor":"Acme","camModel":"M2-API","capFileName":"acme//M2.cap","camCap":{}},
    {"camVendor":"","camModel":"M3","capFileName":"3/a","camCap":{}}, {"camVendor":"Acme","capFileName":"3/b","camCap":{}},
    {"camVendor":"Acme","camModel":"M3","camCap":{}}, {"camVendor":"Acme","camModel":"M3","capFileName":"3/c"}, null])");
  EXPECT_EQ(TakeList(7, list), 0);
  EXPECT_THAT(Files(),
              ElementsAre("capability/7/acme/M1.cap 384 {\n  \"ptz\": true\n}\n", "capability/acme/M2.cap 384 {}\n"));
  EXPECT_THAT(Rows("SELECT owner_zr_id,path,vendor,model FROM capability_file"),
              ElementsAre("7|7/acme/M1.cap|Acme|M1", "7|acme/M2.cap|Acme|M2-API"));
  EXPECT_THAT(Journal([&] { TakeList(7, list); }, 7), IsEmpty()) << "the same list again writes nothing";
}

TEST_F(CamCapFilesTest, ARefusedNameSaysWhy) {
  Take(7, "0/v/a.cap");
  const struct {
    std::string name;
    const char* model;
    const char* reason;
  } cases[] = {
      {"", "M", "it does not begin with the id of a server"},
      {"/etc/x", "M", "it does not begin with the id of a server"},
      {"-1/x", "M", "it does not begin with the id of a server"},
      {"0/../x", "M", "it has \"..\""},
      {std::string("0/a\0b", 5), "M", "it has a NUL"},
      {"0/x/.", "M", "it names a folder"},
      {"0", "M", "it names the folder of a server"},
      {"0/.new", "M", "files that are being written are called \".new\""},
      {"0/" + std::string(256, 'n'), "M", "it is too long"},
      {"0" + std::string(5000, '/') + "x", "M", "it is too long"},
      {"0/v/a.cap/b", "M", "there is a file 7/v/a.cap"},
      {"0/v", "M", "there are files in a folder 7/v"},
      {"", "M-API", nullptr},
      {"/etc/x.cap", "M-API", "it is absolute"},
      {"9/oculor/x.cap", "M-API", "a shared file cannot be in the folder of a server"},
      {"9.cap/x.cap", "M-API", "a folder of it ends in \".cap\""},
      {"oculor/x", "M-API", "that of a shared file must end in \".cap\""},
      {"00/x.cap", "M-API", "it begins with a number that is no server's id"},
  };
  for (const auto& refused : cases) {
    const Lines lines = Failures(ListOf(refused.name, refused.model));
    ASSERT_EQ(lines.size(), refused.reason == nullptr ? 0U : 1U) << refused.name;
    if (!lines.empty()) {
      EXPECT_THAT(lines[0], testing::EndsWith(refused.reason));
    }
    EXPECT_EQ(Take(7, refused.name, refused.model), 0) << "no operation failed: " << refused.name;
  }
  EXPECT_THAT(Files(), ElementsAre(File("7/v/a.cap")));
  EXPECT_THAT(Journal([&] { Take(7, "../x"); }, 7),
              ElementsAre("failed to name the capability file ../x",
                          "log 3 SaveCamCapFiles Failed to update zrId in cap file path. [../x]"));
}

TEST_F(CamCapFilesTest, ASharedFileGoesWithTheLastSlaveThatReportsIt) {
  Take(7, "acme/a.cap", "M-API", 1);
  Take(9, "acme/a.cap", "M-API", 2);
  EXPECT_THAT(Files(), ElementsAre(File("acme/a.cap", 1))) << "the first to report it says what is in it";
  RemoveSlave(7);
  EXPECT_THAT(Files(), ElementsAre(File("acme/a.cap", 2)));
  RemoveSlave(9);
  EXPECT_THAT(Files(), IsEmpty());
  EXPECT_FALSE(fs::exists(folder() / "capability/acme"));
}

TEST_F(CamCapFilesTest, ASharedFileOfAnUnknownReporterGoesToTheFirstThatReportsIt) {
  SaveCamCapFiles(7, ListOf("acme/a.cap", "M-API", 1));
  EXPECT_THAT(Rows("SELECT owner_zr_id,path FROM capability_file"), ElementsAre("0|acme/a.cap"));
  Take(9, "acme/a.cap", "M-API", 2);
  EXPECT_THAT(Rows("SELECT owner_zr_id,path FROM capability_file"), ElementsAre("9|acme/a.cap"));
  EXPECT_THAT(Files(), ElementsAre(File("acme/a.cap", 2)));
}

TEST_F(CamCapFilesTest, OfTwoEntriesWithOnePathTheFirstCounts) {
  Json::Value list = ListOf("0/a", "M1", 1);
  list.append(ListOf("5//a", "M2", 2)[0]);
  TakeList(7, list);
  EXPECT_THAT(Files(), ElementsAre(File("7/a", 1)));
  EXPECT_THAT(Journal([&] { SaveCamCapFiles(7, list); }, 7), IsEmpty());
  Take(7, "0/a", "M1", 3);
  EXPECT_THAT(Files(), ElementsAre(File("7/a", 3))) << "the next document says it anew";
}

TEST_F(CamCapFilesTest, AListThatIsGivenUpLeavesNothing) {
  Take(7, "0/a");
  support::InUnit(false, [] {
    SaveCamCapFiles(7, ListOf("0/a", "M", 2));
    SaveCamCapFiles(7, ListOf("0/b"));
  });
  EXPECT_THAT(Files(), ElementsAre(File("7/a")));
}

TEST_F(CamCapFilesTest, WhatIsInTheWayIsReportedAndHoldsUpNothingElse) {
  fs::create_directory(folder() / "outside");
  std::ofstream(folder() / "outside/a") << "kept";
  const fs::path own = folder() / "capability/7";
  struct Obstacle {
    const char* reason;
    bool stays;  ///< until somebody removes it
    std::function<void()> make;
  };
  const Obstacle obstacles[] = {
#ifndef QV_SANITIZED
      {"Too many open files", false, [] { AllowDescriptors(2); }},
#endif
      {"File too large", false, [] { Limit(RLIMIT_FSIZE, 1); }},
      {"a symbolic link is in the way", true, [&] { fs::create_directory_symlink(folder() / "outside", own); }},
      {"a symbolic link is in the way", true, [&] { fs::create_directory_symlink("7", own); }},
      {"a folder is in the way", true, [&] { fs::create_directories(own / "a/b"); }},
      {"a file is in the way of a folder", true, [&] { std::ofstream(own) << "kept"; }},
      {"something that is no regular file is in the way", true,
       [&] {
         fs::create_directory(own);
         mkfifo((own / "a").c_str(), 0600);
       }},
  };
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit descriptors{};
  getrlimit(RLIMIT_NOFILE, &descriptors);
  for (const auto& [reason, stays, obstacle] : obstacles) {
    Lines lines;
    qv::log::SetSink([&](const qv::log::Line& line) { lines.push_back(line.text); });
    EXPECT_EQ(TakeList(7, ListOf("0/a"), obstacle), 1) << reason;
    Limit(RLIMIT_NOFILE, descriptors.rlim_cur);
    Limit(RLIMIT_FSIZE, RLIM_INFINITY);
    EXPECT_THAT(lines, testing::Contains(testing::HasSubstr(reason)));
    EXPECT_EQ(Take(9, "0/a"), 0) << reason << ": another slave's file";
    qv::log::Reset();
    EXPECT_THAT(Rows("SELECT path FROM capability_file"), ElementsAre("7/a", "9/a")) << reason;

    if (stays) fs::remove_all(own);
    Restart();
    EXPECT_THAT(Files(), ElementsAre(File("7/a"), File("9/a"), "outside/a 420 kept")) << reason;
    RemoveSlave(7);
    RemoveSlave(9);
  }
}

TEST_F(CamCapFilesTest, AProcessThatStartsMakesWhatAnotherLeftBehind) {
  Take(7, "0/old");
  const fs::path capability = folder() / "capability";
  const fs::path stamp = folder() / "capability.stamp";
  const std::string stamp_before = support::ReadWholeFile(stamp);
  RemoveSlave(7);
  Take(7, "0/new");
  // As if it had been killed right after the commits.
  fs::rename(capability / "7/new", capability / "7/old");
  std::ofstream(stamp) << stamp_before;
  Restart();
  EXPECT_THAT(Files(), ElementsAre(File("7/new")));

  using namespace std::string_literals;
  for (const std::string& garbage : {""s, "other"s, "x\0../qvcms.db"s, "x\0/tmp\0\0"s}) {
    std::ofstream(stamp) << garbage;
    std::ofstream(capability / "7/new") << "damaged";
    Restart();
    EXPECT_THAT(Files(), ElementsAre(File("7/new"))) << garbage;
  }

  fs::remove_all(capability);
  Restart();
  EXPECT_THAT(Files(), ElementsAre(File("7/new"))) << "a folder that somebody removed";

  fs::create_directories(capability / "8/left/empty");
  fs::create_directory(capability / "7/b");
  Take(7, "0/b");
  EXPECT_TRUE(fs::is_regular_file(capability / "7/b")) << "instead of an empty folder";
  fs::remove(stamp);
  Restart();
  EXPECT_FALSE(fs::exists(capability / "8/left"));
  EXPECT_THAT(Files(), ElementsAre(File("7/b"), File("7/new")));

  std::ofstream(capability / "7/new") << "damaged";
  Take(7, "0/new");
  EXPECT_THAT(Files(), testing::Contains(File("7/new"))) << "a document mends the files that it brings";
}

TEST_F(CamCapFilesTest, WhatAnotherWriterHeldUpIsMadeAfterTheNextCommit) {
  Take(7, "0/a");
  fs::remove_all(folder() / "capability");
  qv::db::Close();
  const qv::files::FileDescriptor other(open((folder() / "writer.lock").c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(flock(other.get(), LOCK_EX), 0);
  Restart();
  EXPECT_THAT(Files(), IsEmpty());
  flock(other.get(), LOCK_UN);
  qv::db::UnitOfWork().Commit();
  EXPECT_THAT(Files(), ElementsAre(File("7/a")));
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
  EXPECT_THAT(Journal([] { SaveCamCapFiles(7, ListOf("0/a")); }, 7),
              ElementsAre("failed to make " + (folder() / "capability").string(),
                          "log 3 SaveCamCapFiles CheckAndMakeCapDir failed.", "insert capability_file 1",
                          "failed to bring the file capability/7/a up to date"));
  EXPECT_EQ(support::ReadWholeFile(folder() / "capability"), "in the way");
}

}  // namespace
