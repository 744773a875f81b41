/// A host with an empty data folder for each test, the exports, and the journal of what they do to the host.
#pragma once

#include <gmock/gmock.h>

#include "db/database.h"
#include "hoststate.h"
#include "journal.h"
#include "json/document.h"
#include "qvwebapicmssyncutils.h"
#include "scratch.h"
#include "slavezr.h"
#include "slavezrstatus.h"

/// For a test of what one of the databases has for itself.
#define SKIP_ON_POSTGRESQL(reason) \
  if (support::OnPostgresql()) GTEST_SKIP() << (reason)

namespace support {

/// A JSON text as a value.
inline Json::Value Parse(const std::string& text) { return qv::json::ReadDocument(text, {}); }

/// For opening the host in `folder`. A power cut is no part of most tests.
inline qv::db::Options OptionsFor(const std::filesystem::path& folder) {
  qv::db::Options options;
  options.driver = {.database = DatabaseOf(folder), .durability = qv::db::Durability::Process};
  return options;
}

/// Does `work` in a unit of work, which is then committed or given up.
void InUnit(bool commit, auto work, int zr = 0) {
  qv::db::UnitOfWork unit(zr);
  work();
  if (commit) unit.Commit();
}

/// A snapshot that leaves something in every table of devices.
inline constexpr const char* kEverySection = R"({
  "camera_info":[{"id":1,"name":"A","edgeStorage":{"enabled":true}}],
  "camCapList":[{"camVendor":"V","camModel":"M","capFileName":"9/V/M.cap","camCap":{"zoom":1}}],
  "camDetSetting":[{"id":1,"cam_id":1}], "camDeviceOutput":[{"id":1,"cam_id":1}], "recShare":[{"id":1}],
  "iomodule_info":[{"id":1,"name":"B"}], "iomoduleSetting":[{"id":1,"iomodule_id":1}],
  "iomoduleCamPairing":[{"id":1,"iomodule_id":1,"cam_id":1}],
  "POS_info":[{"id":1,"text_rules":[{"type":0,"pattern":"VOID"}]}], "POS_eventconf":[{"id":1,"pos_id":1}],
  "speaker_info":[{"id":1}], "ctrler_info":[{"id":1,"name":"C","door":[{"id":1,"name":"D"}]}],
  "iva_info":[{"id":1,"camera_id":1,"type":6,"enable":true}], "face_info":[{"id":1,"camera_id":1}],
  "counting_widget_info":[{"id":1,"iva_setting_id":1,"type":2,"fence":[{"x":0,"y":0.5},{"x":1,"y":0.5}]}],
  "counting_task_group_info":[{"id":1,"widget_ids":[1]}]})";

struct HostTest : testing::Test {
  using Lines = support::Lines;
  /// For nearly every test's lines.
  static constexpr auto ElementsAre = [](const auto&... lines) { return testing::ElementsAre(lines...); };
  static auto IsEmpty() { return testing::IsEmpty(); }

  HostTest();
  ~HostTest() override;

  static Lines Journal(const std::function<void()>& call, int level = 7) { return support::Journal(call, level); }
  static Json::Value Parse(const std::string& text) { return support::Parse(text); }
  /// Runs SQL that is none of the library's doing: what the host held before, faults, a look at the result.
  static void Sql(const std::string& script);
  /// The committed rows of a query, columns joined by "|", in the order of their ids if it says no other.
  static Lines Rows(const std::string& query);

  /// From now on the database refuses to `operation` ("INSERT", "UPDATE", "DELETE") rows of `table`.
  /// @param condition  which rows, in SQL with NEW and OLD; empty: all
  static void Refuse(const std::string& operation, const std::string& table, const std::string& condition = "");
  /// From now on every statement about `table` fails.
  static void Break(const std::string& table) { Sql("ALTER TABLE " + table + " RENAME TO " + table + "_away"); }

  const std::filesystem::path& folder() const { return folder_.path(); }

 private:
  ScratchFolder folder_;
};

/// A host that receives the status reports of its slaves.
struct StatusTest : HostTest {
  StatusTest() { record_.ZrId = 7; }
  /// Reports `document` for the slave of `record_`, by default 7.
  Lines Report(const std::string& document, int level = 5) {
    return Journal([&] { EXPECT_EQ(SaveSlaveStatus(Parse(document), record_), 0); }, level);
  }

  SlaveZRStatus record_;
};

}  // namespace support
