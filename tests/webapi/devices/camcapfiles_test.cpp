#include <fstream>

#include "capability/capability.h"
#include "devices/devicesteps.h"
#include "support/hosttest.h"

namespace {

namespace fs = std::filesystem;

struct CamCapFilesTest : support::HostTest {
  Lines SaveList(const std::string& list) {
    return Journal([&] { SaveCamCapFiles(7, Parse(list)); });
  }
  Lines Save(const std::string& name, const std::string& model = "M1", int zr = 7) {
    Json::Value list = Parse(R"([{"camVendor":"Acme","camCap":{"ptz":true}}])");
    list[0]["capFileName"] = name;
    list[0]["camModel"] = model;
    return Journal([&] { SaveCamCapFiles(zr, list); });
  }
  static std::string Refused(const std::string& name) {
    return "log 3 SaveCamCapFiles Failed to update zrId in cap file path. [" + name + "]";
  }
  Lines Files() const { return support::DumpFiles(folder()); }
  static constexpr const char* kUnwritten = "failed to write a capability file";
};

TEST_F(CamCapFilesTest, AreWrittenOnceUnderTheHostsId) {
  EXPECT_THAT(SaveList("[]"), IsEmpty());
  EXPECT_FALSE(fs::exists(folder() / "capability"));
  const std::string list = R"([
    {"camVendor":"Acme","camModel":"M1","capFileName":"3/acme/./M1.cap","camCap":{"ptz":true}},
    {"camVendor":"Acme","camModel":"M2-API","capFileName":"3/acme/M2.cap","camCap":{}},
    {"camVendor":"","camModel":"M3","capFileName":"3/a","camCap":{}}, {"camVendor":"Acme","capFileName":"3/b","camCap":{}},
    {"camVendor":"Acme","camModel":"M3","camCap":{}}, {"camVendor":"Acme","camModel":"M3","capFileName":"3/c"}, null])";
  SaveList(list);
  EXPECT_THAT(Files(),
              ElementsAre("capability/3/acme/M2.cap 384 {}\n", "capability/7/acme/M1.cap 384 {\n  \"ptz\": true\n}\n"));
  EXPECT_THAT(Rows("SELECT owner_zr_id,path,vendor,model FROM capability_file"),
              ElementsAre("7|7/acme/M1.cap|Acme|M1", "0|3/acme/M2.cap|Acme|M2-API"));
  EXPECT_THAT(SaveList(list), IsEmpty()) << "what is on the disk already is not written again";
  EXPECT_THAT(Save("7/acme/M1.cap", "M1-API"), ElementsAre(kUnwritten)) << "the file is a slave's own";
}

TEST_F(CamCapFilesTest, NoNameLeadsOutOfTheFolder) {
  fs::create_directories(folder() / "capability/7/folder");
  fs::create_directory_symlink(folder(), folder() / "capability/7/link");
  for (const std::string name : {"../../x", "/etc/x", "0/../../x", "0/..", "0/link/x", "0/folder", "0/x/", "0/", "0//",
                                 "0", "", "/0/x", "acme/x", "-1/x", "0x/x"}) {
    EXPECT_THAT(Save(name), ElementsAre(Refused(name)));
  }
  EXPECT_THAT(Save(std::string("0/a\0/../x", 9)), ElementsAre(Refused("0/a")));
  for (const char* name : {"../../x", "/etc/x", "7/link/x"}) {
    EXPECT_THAT(Save(name, "M-API"), ElementsAre(kUnwritten)) << name;
  }
  EXPECT_THAT(Files(), IsEmpty());
  EXPECT_THAT(Rows("SELECT path FROM capability_file"), IsEmpty());
}

TEST_F(CamCapFilesTest, AServersOwnFileIsNobodyElses) {
  for (const char* name : {"./7/v/a", "7//v/b"}) Save(name, "N-API", 9);
  Save("0/v/a");
  for (const char* name : {"7/v/a", "7//v/a", "./7/v/a", "7/./v/a"}) {
    EXPECT_THAT(Save(name, "N-API", 9), ElementsAre(kUnwritten)) << name;
  }
  EXPECT_THAT(Rows("SELECT owner_zr_id,path,model FROM capability_file"), ElementsAre("7|7/v/a|M1", "0|7/v/b|N-API"));
  support::InUnit(true, [] { qv::capability::DeleteFilesOf(7); });
  EXPECT_THAT(Files(), ElementsAre("capability/7/v/b 384 {\n  \"ptz\": true\n}\n"));
  EXPECT_THAT(Rows("SELECT path FROM capability_file"), ElementsAre("7/v/b"));
}

TEST_F(CamCapFilesTest, GoOnWithoutTheFolder) {
  std::ofstream(folder() / "capability") << "in the way";
  EXPECT_THAT(SaveList(R"([{"camVendor":"Acme","camModel":"M1","capFileName":"0/a","camCap":{}},
                           {"camVendor":"Acme","camModel":"M-API","capFileName":"0/b","camCap":{}}])"),
              ElementsAre("failed to make " + (folder() / "capability").string(),
                          "log 3 SaveCamCapFiles CheckAndMakeCapDir failed.", Refused("0/a"), kUnwritten));
  EXPECT_EQ(support::ReadWholeFile(folder() / "capability"), "in the way");
}

}  // namespace
