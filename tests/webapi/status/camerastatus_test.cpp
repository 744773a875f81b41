#include <pwd.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "camera.h"
#include "frame/idlist.h"
#include "qvwebapicmssyncutils.h"
#include "rtspinfo.h"
#include "slavezrstatus.h"
#include "status/rtspkeys.h"
#include "support/hosttest.h"
#include "support/keyfiles.h"

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

using support::Lines;
using support::Parse;
using testing::ElementsAre;
using testing::IsEmpty;

std::string Content(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

struct stat StatusOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status;
}

// Keys are remembered for the life of the process: every test has servers and cameras of its own, which no test that
// runs the tool reports of.
class CameraStatus : public support::HostTest {
 protected:
  Lines Report(int zr, const std::string& cameras, int level = 5) {
    return Journal(
        [&] {
          SlaveZRStatus record;
          record.ZrId = zr;
          SaveSlaveStatus(Parse("{\"status\":1,\"camera_info\":" + cameras + "}"), record);
        },
        level);
  }
  /// A key file that nobody has made yet.
  static std::string FreshKeyFile(int zr) {
    std::filesystem::remove_all(RtspKeyFilePath(zr));
    return RtspKeyFilePath(zr);
  }
  static void AddCamera(int id, int zr, int id_on_rec_server) {
    Sql("INSERT INTO camera (id,owner_zr_id,id_on_rec_server) VALUES (" + std::to_string(id) + "," +
        std::to_string(zr) + "," + std::to_string(id_on_rec_server) + ")");
  }

 private:
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
          "log 5 CheckToUpdateRtspKey Update rtsp key for zr [16]",
          "execute UPDATE camera SET status=column2,live_profile=column3,stream_profile1=column4,"
          "stream_profile2=column5,stream_profile3=column6 FROM (VALUES "
          R"((101,2,1,'{"a":1}','{"n":"it''s","password":"hid"}',''),(104,3,0,'','','')) )"
          "AS reported WHERE id=column1 AND owner_zr_id=16",
          R"(message 0 client 2 {"ids":[101,102]})"));
  EXPECT_THAT(Rows("SELECT id,status,live_profile,stream_profile2 FROM camera"),
              ElementsAre(R"(101|2|1|{"n":"it's","password":"hid"})", R"(102|1|0|{"b":1})", "103|1|0|", "104|3|0|",
                          "105|1|0|"));
  EXPECT_EQ(Content(file), "{\"101\":\"KEY1\",\"102\":\"KEY2\",\"103\":\"KEY3\",\"104\":\"\"}\n");
  EXPECT_EQ(StatusOf(file).st_mode, static_cast<mode_t>(S_IFREG | 0600));
  // Nothing changed: nothing happens, but for what the configured camera still differs in.
  EXPECT_THAT(Report(16, R"([{"id":1,"status":2,"live_profile":1,"rtsp_key":"KEY1"},{"id":3,"rtsp_key":"KEY3"}])"),
              IsEmpty());
}

TEST_F(CameraStatus, FailuresStayWithTheirStep) {
  FreshKeyFile(12);
  AddCamera(121, 12, 1);
  Refuse("UPDATE", "camera");
  EXPECT_THAT(
      Report(12, R"([{"id":1,"status":2,"stream_profile1":{"a":1},"rtsp_key":"k"}])"),
      ElementsAre("log 5 UpdateCamInfo Cam [121] info changed.",
                  "log 5 CheckToUpdateRtspKey Update rtsp key for zr [12]",
                  "failed to update the status of cameras of server [12]", R"(message 0 client 2 {"ids":[121]})"));
  Break("camera");
  FreshKeyFile(12);
  EXPECT_THAT(Report(12, R"([{"id":1,"rtsp_key":"other"}])"),
              ElementsAre("failed to list camera [0]", "log 1 UpdateCamInfo Failed to get cam map of ZR [12]."));
  EXPECT_FALSE(std::filesystem::exists(RtspKeyFilePath(12)));
}

TEST_F(CameraStatus, RewritesAKeyFileOnlyForANewKey) {
  const std::string path = FreshKeyFile(3);
  const std::string neighbour = FreshKeyFile(31);
  const auto update = [&](int zr, const std::map<int, std::string>& keys) {
    return Journal([&] { CheckToUpdateRtspKey(zr, keys); });
  };
  update(31, {{311, "n"}});
  ASSERT_EQ(SetRtspInfoToConf(path, {{301, "a"}, {302, "b"}}), 0);
  const auto inode = [&] { return StatusOf(path).st_ino; };
  ino_t before = inode();
  const std::string line = "log 5 CheckToUpdateRtspKey Update rtsp key for zr [3]";
  EXPECT_THAT(update(3, {{301, "a"}, {302, "b"}}), ElementsAre(line)) << "the first report since the start";
  EXPECT_NE(inode(), before);
  before = inode();
  EXPECT_THAT(update(3, {{301, "a"}, {302, "b"}}), IsEmpty());
  EXPECT_THAT(update(3, {{302, "b"}}), IsEmpty());
  EXPECT_THAT(update(3, {}), IsEmpty());
  EXPECT_EQ(inode(), before);
  EXPECT_THAT(update(3, {{302, "B\"\n"}}), ElementsAre(line));
  EXPECT_EQ(Content(path), "{\"302\":\"B\\\"\\n\"}\n") << "the keys of this report";
  EXPECT_EQ(Content(neighbour), "{\"311\":\"n\"}\n");
}

TEST_F(CameraStatus, FollowsNoLink) {
  const std::string path = FreshKeyFile(14);
  const std::filesystem::path target = folder() / "precious";
  std::ofstream(target) << "content";
  ASSERT_EQ(SetRtspInfoToConf(path, {}), 0);
  std::filesystem::remove(path);
  std::filesystem::create_symlink(target, path);
  const std::string update = "log 5 CheckToUpdateRtspKey Update rtsp key for zr [14]";
  const auto truncation = [&](int error) {
    return "log 1 CheckToUpdateRtspKey Failed to truncate " + path + " to 0. Err [" + std::to_string(error) + "]";
  };
  EXPECT_THAT(Journal([] { CheckToUpdateRtspKey(14, {{141, "a"}}); }), ElementsAre(update, truncation(ELOOP)));
  EXPECT_EQ(Content(target), "content");
  EXPECT_EQ(StatusOf(path).st_mode, static_cast<mode_t>(S_IFREG | 0600));
}

// A file that cannot be written is not there to be given away. The next new key is its next try.
TEST_F(CameraStatus, OutlivesAFullDisk) {
  const std::string path = FreshKeyFile(15);
  const auto update = [this](const char* key) { return Journal([&] { CheckToUpdateRtspKey(15, {{151, key}}); }); };
  rlimit usual{};
  getrlimit(RLIMIT_FSIZE, &usual);
  const rlimit full{0, usual.rlim_max};
  signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &full);
  const Lines lines = update("a");
  setrlimit(RLIMIT_FSIZE, &usual);
  const std::string line = "log 5 CheckToUpdateRtspKey Update rtsp key for zr [15]";
  EXPECT_THAT(lines, ElementsAre(line, "failed to write key file [0]",
                                 "log 1 CheckToUpdateRtspKey Failed to modify owner of file [" + path + "]."));
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_THAT(update("a"), IsEmpty());
  EXPECT_THAT(update("b"), ElementsAre(line));
  EXPECT_EQ(Content(path), "{\"151\":\"b\"}\n");
}

TEST_F(CameraStatus, GivesTheFolderThatItMakesToThePackageUser) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  has_package_user = true;
  const std::filesystem::path made = folder() / "made";
  const std::filesystem::path found = folder() / "found";
  std::filesystem::create_directory(found);
  for (const auto& keys : {made, found}) EXPECT_EQ(SetRtspInfoToConf(keys / "rtsp_key1", {}), 0);
  has_package_user = false;
  EXPECT_EQ(StatusOf(made).st_uid, kPackageUser);
  EXPECT_EQ(StatusOf(made).st_gid, kPackageUser);
  EXPECT_EQ(StatusOf(made).st_mode, static_cast<mode_t>(S_IFDIR | 0700));
  EXPECT_EQ(StatusOf(found).st_uid, 0U);
}

}  // namespace
