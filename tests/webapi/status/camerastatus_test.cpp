#include <sys/resource.h>

#include <csignal>
#include <fstream>

#include "status/rtspkeys.h"
#include "support/hosttest.h"

namespace {

namespace fs = std::filesystem;
using support::ReadWholeFile;

// Keys are remembered for the life of the process: every test has servers and cameras of its own.
struct CameraStatus : support::StatusTest {
  Lines Report(int zr, const std::string& cameras, int level = 5) {
    record_.ZrId = zr;
    return support::Without(StatusTest::Report("{\"status\":1,\"camera_info\":" + cameras + "}", level), "failed");
  }
  Lines Update(int zr, const std::map<int, std::string>& keys) {
    return support::Without(Journal([&] { CheckToUpdateRtspKey(zr, keys); }), "failed");
  }
  /// A key file that nobody has made yet.
  static std::string FreshKeyFile(int zr) {
    fs::remove_all(RtspKeyFilePath(zr));
    return RtspKeyFilePath(zr);
  }

  support::KeyFiles keys_;
};

TEST_F(CameraStatus, ChangesAreWrittenTogetherAndClientsHearOfNewStreams) {
  const std::string file = FreshKeyFile(16);
  Sql("INSERT INTO camera (id,owner_zr_id,id_on_rec_server,status,stream_profile1,stream_profile2)"
      " VALUES(101,16,1,1,'{\"a\":1}',''),(102,16,2,1,'{\"a\":1}',''),(103,16,3,1,'',''),(105,8,5,1,'','')");
  const std::string report =
      R"([{"id":1,"status":2,"live_profile":1,"stream_profile2":{"n":"it's"},"rtsp_key":"KEY1"},
          {"id":2,"status":1,"stream_profile1":{"a":1},"stream_profile3":null,"rtsp_key":"KEY2"},
          {"id":2,"rtsp_key":"late"},{"id":3,"status":3},{"id":5,"status":9},{"id":99,"rtsp_key":"none"}])";
  EXPECT_THAT(Report(16, report),
              ElementsAre("log 5 UpdateCamInfo Cam [101] info changed.", "log 5 UpdateCamInfo Cam [103] info changed.",
                          "log 5 CheckToUpdateRtspKey Update rtsp key for zr [16]", "update camera 101",
                          "update camera 103", R"(message 0 client 2 {"ids":[101]})"));
  EXPECT_THAT(Rows("SELECT id,status,live_profile,stream_profile2 FROM camera"),
              ElementsAre(R"(101|2|1|{"n":"it's"})", "102|1|0|", "103|3|0|", "105|1|0|"));
  EXPECT_EQ(ReadWholeFile(file), "{\"101\":\"KEY1\",\"102\":\"KEY2\",\"103\":\"\"}\n");
  EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
  EXPECT_THAT(Report(16, R"([{"id":1,"status":2,"live_profile":1,"rtsp_key":"KEY1"}])"), IsEmpty())
      << "nothing changed";
}

TEST_F(CameraStatus, MoreCamerasThanAStatementTakesAreWrittenToo) {
  std::string report;
  for (int id = 1; id <= 70; ++id) {
    Sql("INSERT INTO camera (owner_zr_id,id_on_rec_server) VALUES(15," + std::to_string(id) + ")");
    report += (id == 1 ? "[" : ",") + ("{\"id\":" + std::to_string(id)) + ",\"status\":2}";
  }
  Report(15, report + "]");
  EXPECT_THAT(Rows("SELECT status,COUNT(*) FROM camera GROUP BY status"), ElementsAre("2|70"));
}

TEST_F(CameraStatus, ChangesAreLoggedWithoutSecrets) {
  Sql("INSERT INTO camera (id,owner_zr_id,id_on_rec_server,stream_profile1) VALUES (111,17,1,'{\"a\":1}')");
  EXPECT_THAT(
      support::Only(Report(17, R"([{"id":1,"status":2,"stream_profile2":{"password":"hid"}}])", 7), "log 7 U"),
      ElementsAre(R"(log 7 UpdateCamInfo Original cam info: [{"id":111,"live_profile":0,"status":0,)"
                  R"("stream_profile1":{"a":1},"stream_profile2":null,"stream_profile3":null}])",
                  R"(log 7 UpdateCamInfo New      cam info: [{"id":111,"live_profile":0,"status":2,)"
                  R"("stream_profile1":{"a":1},"stream_profile2":{"password":"***"},"stream_profile3":null}])"));
}

TEST_F(CameraStatus, ACameraThatIsBeingConfiguredIsNotWrittenButItsStreamAndKeyCount) {
  Sql("INSERT INTO camera (id,owner_zr_id,id_on_rec_server,stream_profile1,device_status_flags) "
      "VALUES(181,18,1,'{\"a\":1}',33)");
  EXPECT_THAT(
      Report(18, R"([{"id":1,"status":2,"live_profile":1,"rtsp_key":"KEY"}])"),
      ElementsAre("log 5 UpdateCamInfo Skip to sync cam [181] on ZR [18] due configuring.",
                  "log 5 CheckToUpdateRtspKey Update rtsp key for zr [18]", R"(message 0 client 2 {"ids":[181]})"));
}

TEST_F(CameraStatus, ACameraReportedTwiceIsListedTwiceEvenIfItCannotBeWritten) {
  Sql("INSERT INTO camera (id,owner_zr_id,id_on_rec_server,stream_profile1) VALUES (191,19,1,'{\"a\":1}')");
  Refuse("UPDATE", "camera");
  EXPECT_THAT(Report(19, R"([{"id":1,"live_profile":1},{"id":1,"live_profile":1}])"),
              testing::Contains(R"(message 0 client 2 {"ids":[191,191]})"));
}

TEST_F(CameraStatus, AKeyThatIsNoTextThrowsBeforeAnythingIsLogged) {
  Sql("INSERT INTO camera (id,owner_zr_id,id_on_rec_server) VALUES (201,20,1)");
  EXPECT_THAT(Journal([&] { EXPECT_THROW(Report(20, R"([{"id":1,"status":2,"rtsp_key":{}}])"), Json::Exception); }),
              IsEmpty());
}

TEST_F(CameraStatus, WithoutTheCamerasNoKeyIsWritten) {
  const std::string file = FreshKeyFile(22);
  Break("camera");
  EXPECT_THAT(Report(22, R"([{"id":1,"rtsp_key":"other"}])"),
              ElementsAre("log 1 UpdateCamInfo Failed to get cam map of ZR [22]."));
  EXPECT_FALSE(fs::exists(file));
}

TEST_F(CameraStatus, AKeyFileIsRewrittenForANewKeyOnly) {
  const std::string path = FreshKeyFile(23);
  EXPECT_THAT(Update(23, {{301, "a"}, {302, "b"}}),
              ElementsAre("log 5 CheckToUpdateRtspKey Update rtsp key for zr [23]"));
  std::ofstream(path) << "left alone";
  EXPECT_THAT(Update(23, {{302, "b"}}), IsEmpty());
  EXPECT_THAT(Update(23, {}), IsEmpty());
  EXPECT_EQ(ReadWholeFile(path), "left alone");
  Update(23, {{302, "B\"\n"}});
  EXPECT_EQ(ReadWholeFile(path), "{\"302\":\"B\\\"\\n\"}\n") << "the keys of this report";
}

TEST_F(CameraStatus, AKeyFileThatIsALinkIsReplacedAndNotFollowed) {
  const std::string path = FreshKeyFile(14);
  const fs::path target = folder() / "precious";
  std::ofstream(target) << "content";
  fs::create_directories(fs::path(path).parent_path());
  fs::create_symlink(target, path);
  EXPECT_THAT(Update(14, {{141, "a"}}), ElementsAre("log 5 CheckToUpdateRtspKey Update rtsp key for zr [14]",
                                                    "log 1 CheckToUpdateRtspKey Failed to truncate " + path +
                                                        " to 0. Err [" + std::to_string(ELOOP) + "]"));
  EXPECT_EQ(ReadWholeFile(target), "content");
  EXPECT_EQ(fs::symlink_status(path).type(), fs::file_type::regular);
}

/// Nothing can be written to any file.
struct FullDisk {
  FullDisk() {
    getrlimit(RLIMIT_FSIZE, &usual);
    const rlimit none{0, usual.rlim_max};
    signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &none);
  }
  ~FullDisk() { setrlimit(RLIMIT_FSIZE, &usual); }
  rlimit usual{};
};

TEST_F(CameraStatus, AKeyFileThatCannotBeMadeIsTriedAgainWithTheNextKey) {
  const std::string path = FreshKeyFile(15);
  {
    const FullDisk full;
    EXPECT_THAT(Update(15, {{150, "a"}}),
                testing::Contains("log 1 CheckToUpdateRtspKey Failed to modify owner of file [" + path + "]."));
  }
  EXPECT_THAT(Update(15, {{150, "a"}}), IsEmpty());
  Update(15, {{150, "b"}});
  EXPECT_EQ(ReadWholeFile(path), "{\"150\":\"b\"}\n");
  const FullDisk full;
  Update(15, {{150, "c"}});
  EXPECT_EQ(ReadWholeFile(path), "") << "old keys are not served";
}

}  // namespace
