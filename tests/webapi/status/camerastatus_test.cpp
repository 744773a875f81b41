#include <pwd.h>
#include <sys/stat.h>

#include <csignal>
#include <fstream>

#include "status/rtspkeys.h"
#include "support/hosttest.h"

namespace {

constexpr uid_t kPackageUser = 54321;
bool has_package_user = false;

}  // namespace

/// In the place of the system's: no user but the package's, and that only for a test that wants one.
extern "C" int getpwnam_r(const char* /*name*/, passwd* user, char* memory, size_t /*size*/, passwd** found) {
  *found = has_package_user ? user : nullptr;
  *user = {};
  user->pw_name = memory;
  user->pw_uid = user->pw_gid = kPackageUser;
  return 0;
}

namespace {

namespace fs = std::filesystem;
using support::ReadWholeFile;

// Keys are remembered for the life of the process: every test has servers and cameras of its own, which no test that
// runs the tool reports of.
struct CameraStatus : support::StatusTest {
  Lines Report(int zr, const std::string& cameras, int level = 5) {
    record_.ZrId = zr;
    return StatusTest::Report("{\"status\":1,\"camera_info\":" + cameras + "}", level);
  }
  Lines Update(int zr, const std::map<int, std::string>& keys) {
    return Journal([&] { CheckToUpdateRtspKey(zr, keys); });
  }
  static std::string Updated(int zr) {
    return "log 5 CheckToUpdateRtspKey Update rtsp key for zr [" + std::to_string(zr) + "]";
  }
  /// A key file that nobody has made yet.
  static std::string FreshKeyFile(int zr) {
    fs::remove_all(RtspKeyFilePath(zr));
    return RtspKeyFilePath(zr);
  }

  support::KeyFiles keys_;
};

TEST_F(CameraStatus, FollowsTheReport) {
  const std::string file = FreshKeyFile(16);
  Sql("INSERT INTO camera (id,owner_zr_id,id_on_rec_server,status,stream_profile1,stream_profile2,device_status_flags)"
      " VALUES (101,16,1,1,'{\"a\":1}','',0),(102,16,2,1,'{\"a\":1}','{\"b\":1}',33),(103,16,3,1,'{\"a\":1}','',0),"
      "(104,16,4,1,'','',0),(105,8,5,1,'','',0)");
  const std::string report =
      R"([{"id":1,"status":2,"live_profile":1,"stream_profile2":{"n":"it's","password":"hid"},"rtsp_key":"KEY1"},
          {"id":2,"status":2,"live_profile":1,"rtsp_key":"KEY2"},
          {"id":3,"status":1,"stream_profile1":{"a":1},"stream_profile3":null,"rtsp_key":"KEY3"},
          {"id":3,"rtsp_key":"late"},{"id":4,"status":3},{"id":5,"status":9},{"id":99,"rtsp_key":"none"}])";
  const Lines lines = Report(16, report, 7);
  EXPECT_THAT(
      Lines(lines.begin(), lines.end() - 1),
      ElementsAre(
          "log 5 UpdateCamInfo Cam [101] info changed.",
          R"(log 7 UpdateCamInfo Original cam info: [{"id":101,"live_profile":0,"status":1,)"
          R"("stream_profile1":{"a":1},"stream_profile2":null,"stream_profile3":null}])",
          R"(log 7 UpdateCamInfo New      cam info: [{"id":101,"live_profile":1,"status":2,)"
          R"("stream_profile1":{"a":1},"stream_profile2":{"n":"it's","password":"***"},"stream_profile3":null}])",
          "log 5 UpdateCamInfo Skip to sync cam [102] on ZR [16] due configuring.",
          "log 5 UpdateCamInfo Cam [104] info changed.",
          R"(log 7 UpdateCamInfo Original cam info: [{"id":104,"live_profile":0,"status":1,)"
          R"("stream_profile1":null,"stream_profile2":null,"stream_profile3":null}])",
          R"(log 7 UpdateCamInfo New      cam info: [{"id":104,"live_profile":0,"status":3,)"
          R"("stream_profile1":null,"stream_profile2":null,"stream_profile3":null}])",
          Updated(16), "update camera 101", "update camera 104", R"(message 0 client 2 {"ids":[101,102]})"));
  EXPECT_THAT(Rows("SELECT id,status,live_profile,stream_profile2 FROM camera"),
              ElementsAre(R"(101|2|1|{"n":"it's","password":"hid"})", R"(102|1|0|{"b":1})", "103|1|0|", "104|3|0|",
                          "105|1|0|"));
  EXPECT_EQ(ReadWholeFile(file), "{\"101\":\"KEY1\",\"102\":\"KEY2\",\"103\":\"KEY3\",\"104\":\"\"}\n");
  EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
  // Nothing changed: nothing happens.
  EXPECT_THAT(Report(16, R"([{"id":1,"status":2,"live_profile":1,"rtsp_key":"KEY1"}])"), IsEmpty());
}

TEST_F(CameraStatus, FailuresStayWithTheirStep) {
  const std::string file = FreshKeyFile(12);
  Sql("INSERT INTO camera (id,owner_zr_id,id_on_rec_server) VALUES (121,12,1)");
  Refuse("UPDATE", "camera");
  EXPECT_THAT(
      Report(12, R"([{"id":1,"status":2,"stream_profile1":{"a":1},"rtsp_key":"k"}])"),
      ElementsAre("log 5 UpdateCamInfo Cam [121] info changed.", Updated(12),
                  "failed to update the status of the cameras of server [12]", R"(message 0 client 2 {"ids":[121]})"));
  Break("camera");
  FreshKeyFile(12);
  EXPECT_THAT(Report(12, R"([{"id":1,"rtsp_key":"other"}])"),
              ElementsAre("failed to list the cameras of server [12]",
                          "log 1 UpdateCamInfo Failed to get cam map of ZR [12]."));
  EXPECT_FALSE(fs::exists(file));
}

TEST_F(CameraStatus, RewritesAKeyFileOnlyForANewKey) {
  const std::string path = FreshKeyFile(3);
  std::ofstream(path) << "of the last process";
  EXPECT_THAT(Update(3, {{301, "a"}, {302, "b"}}), ElementsAre(Updated(3))) << "the first report since the start";
  EXPECT_EQ(ReadWholeFile(path), "{\"301\":\"a\",\"302\":\"b\"}\n");
  std::ofstream(path) << "left alone";
  using Keys = std::map<int, std::string>;
  for (const Keys& keys : {Keys{{301, "a"}, {302, "b"}}, Keys{{302, "b"}}, Keys{}}) {
    EXPECT_THAT(Update(3, keys), IsEmpty());
  }
  EXPECT_EQ(ReadWholeFile(path), "left alone");
  EXPECT_THAT(Update(3, {{302, "B\"\n"}}), ElementsAre(Updated(3)));
  EXPECT_EQ(ReadWholeFile(path), "{\"302\":\"B\\\"\\n\"}\n") << "the keys of this report";
}

TEST_F(CameraStatus, FollowsNoLink) {
  const std::string path = FreshKeyFile(14);
  const fs::path target = folder() / "precious";
  std::ofstream(target) << "content";
  ASSERT_EQ(SetRtspInfoToConf(path, {}), 0);
  fs::remove(path);
  fs::create_symlink(target, path);
  EXPECT_THAT(Update(14, {{141, "a"}}),
              ElementsAre(Updated(14), "log 1 CheckToUpdateRtspKey Failed to truncate " + path + " to 0. Err [" +
                                           std::to_string(ELOOP) + "]"));
  EXPECT_EQ(ReadWholeFile(target), "content");
  EXPECT_EQ(fs::symlink_status(path).type(), fs::file_type::regular);
}

// A file that cannot be written is not there to be given away. The next new key is its next try.
TEST_F(CameraStatus, OutlivesAFullDisk) {
  const std::string path = FreshKeyFile(15);
  rlimit usual{};
  getrlimit(RLIMIT_FSIZE, &usual);
  const rlimit full{0, usual.rlim_max};
  signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &full);
  const Lines lines = Update(15, {{150, "a"}});
  setrlimit(RLIMIT_FSIZE, &usual);
  EXPECT_THAT(lines, ElementsAre(Updated(15), "failed to write a key file",
                                 "log 1 CheckToUpdateRtspKey Failed to modify owner of file [" + path + "]."));
  EXPECT_FALSE(fs::exists(path));
  EXPECT_THAT(Update(15, {{150, "a"}}), IsEmpty());
  EXPECT_THAT(Update(15, {{150, "b"}}), ElementsAre(Updated(15)));
  EXPECT_EQ(ReadWholeFile(path), "{\"150\":\"b\"}\n");
}

TEST_F(CameraStatus, GivesTheFolderThatItMakesToThePackageUser) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  has_package_user = true;
  fs::create_directory(folder() / "found");
  for (const std::string name : {"made", "found"}) {
    EXPECT_EQ(SetRtspInfoToConf(folder() / name / "rtsp_key1", {}), 0);
    struct stat status {};
    EXPECT_EQ(stat((folder() / name).c_str(), &status), 0);
    const uid_t user = name == "made" ? kPackageUser : 0;
    EXPECT_THAT((std::array{status.st_uid, status.st_gid}), ElementsAre(user, user)) << name;
  }
  has_package_user = false;
  EXPECT_EQ(fs::status(folder() / "made").permissions(), fs::perms(0700));
}

}  // namespace
