#include "devices/camcapfiles.h"

#include <fstream>

#include "capability/capability.h"
#include "db/database.h"
#include "support/hoststate.h"
#include "support/hosttest.h"

namespace {

using support::Lines;
using support::Parse;
using testing::ElementsAre;
using testing::IsEmpty;

/// A list of one file.
Json::Value ListOf(const std::string& name, const std::string& model = "M1") {
  Json::Value list = Parse(R"([{"camVendor":"Acme","camCap":{"ptz":true}}])");
  list[0]["capFileName"] = name;
  list[0]["camModel"] = model;
  return list;
}

class CamCapFilesTest : public support::HostTest {
 protected:
  Lines Save(const Json::Value& list, int zr = 7) {
    return Journal([&] { SaveCamCapFiles(zr, list); });
  }
  Lines Files() const { return support::DumpFiles(folder()); }
};

TEST_F(CamCapFilesTest, AreWrittenOnceUnderTheHostsId) {
  EXPECT_THAT(Save(Parse("[]")), IsEmpty());
  EXPECT_FALSE(std::filesystem::exists(folder() / "capability"));
  const Json::Value list = Parse(R"([
    {"camVendor":"Acme","camModel":"M1","capFileName":"3/acme/./M1.cap","camCap":{"ptz":true}},
    {"camVendor":"Acme","camModel":"M2-API","capFileName":"3/acme/M2.cap","camCap":{}},
    {"camVendor":"","camModel":"M3","capFileName":"3/a","camCap":{}}, {"camVendor":"Acme","capFileName":"3/b","camCap":{}},
    {"camVendor":"Acme","camModel":"M3","camCap":{}}, {"camVendor":"Acme","camModel":"M3","capFileName":"3/c"}, null])");
  Save(list);
  EXPECT_THAT(Files(),
              ElementsAre("capability/3/acme/M2.cap 384 {}\n", "capability/7/acme/M1.cap 384 {\n  \"ptz\": true\n}\n"));
  EXPECT_THAT(Rows("SELECT owner_zr_id,path,vendor,model FROM capability_file"),
              ElementsAre("7|7/acme/M1.cap|Acme|M1", "0|3/acme/M2.cap|Acme|M2-API"));
  EXPECT_THAT(Save(list), IsEmpty()) << "what is on the disk already is not written again";
  EXPECT_THAT(Save(ListOf("7/acme/M1.cap", "M1-API")), ElementsAre("failed to write capability_file [0]"))
      << "the file is a slave's own";
}

TEST_F(CamCapFilesTest, NoNameLeadsOutOfTheFolder) {
  const std::filesystem::path outside = folder() / "outside";
  std::filesystem::create_directories(folder() / "capability/7/folder");
  std::filesystem::create_directory(outside);
  std::filesystem::create_directory_symlink(outside, folder() / "capability/7/link");
  std::filesystem::create_symlink(outside / "planted", folder() / "capability/7/M.cap");
  const Lines before = Files();
  for (const std::string name : {"../../x", "/etc/x", "0/../../x", "0/..", "0/link/x", "0/M.cap", "0/folder", "0/x/",
                                 "0/", "0//", "0", "", "/0/x", "acme/x", "-1/x", "0x/x"}) {
    EXPECT_THAT(Save(ListOf(name)),
                ElementsAre("log 3 SaveCamCapFiles Failed to update zrId in cap file path. [" + name + "]"));
  }
  EXPECT_THAT(Save(ListOf(std::string("0/a\0/../x", 9))),
              ElementsAre("log 3 SaveCamCapFiles Failed to update zrId in cap file path. [0/a]"));
  for (const char* name : {"../../x", "/etc/x", "7/link/x", "7/M.cap"}) {
    EXPECT_THAT(Save(ListOf(name, "M-API")), ElementsAre("failed to write capability_file [0]")) << name;
  }
  EXPECT_EQ(Files(), before);
  EXPECT_THAT(Rows("SELECT path FROM capability_file"), IsEmpty());
}

TEST_F(CamCapFilesTest, AServersOwnFileIsNobodyElses) {
  const auto take = [&](const std::string& name) { return Save(ListOf(name, "N-API"), 9); };
  for (const char* name : {"./7/v/a", "7//v/b"}) EXPECT_THAT(take(name), testing::Not(IsEmpty()));
  Save(ListOf("0/v/a"));
  for (const char* name : {"7/v/a", "7//v/a", "./7/v/a", "7/./v/a"}) {
    EXPECT_THAT(take(name), ElementsAre("failed to write capability_file [0]")) << name;
  }
  EXPECT_THAT(Rows("SELECT owner_zr_id,path,model FROM capability_file"), ElementsAre("7|7/v/a|M1", "0|7/v/b|N-API"));
  qv::db::UnitOfWork removal;
  qv::capability::DeleteFilesOf(7);
  removal.Commit();
  EXPECT_THAT(Files(), ElementsAre("capability/7/v/b 384 {\n  \"ptz\": true\n}\n"));
  EXPECT_THAT(Rows("SELECT path FROM capability_file"), ElementsAre("7/v/b"));
}

TEST_F(CamCapFilesTest, GoOnWithoutTheFolder) {
  std::ofstream(folder() / "capability") << "in the way";
  Json::Value list = ListOf("0/a");
  list.append(ListOf("0/b", "M-API")[0]);
  EXPECT_THAT(Save(list), ElementsAre("failed to make " + (folder() / "capability").string(),
                                      "log 3 SaveCamCapFiles CheckAndMakeCapDir failed.",
                                      "log 3 SaveCamCapFiles Failed to update zrId in cap file path. [0/a]",
                                      "failed to write capability_file [0]"));
  EXPECT_THAT(support::ReadWholeFile(folder() / "capability"), "in the way");
}

}  // namespace
