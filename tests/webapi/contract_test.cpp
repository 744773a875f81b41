/// Flags and null arguments that the library passes to the package's other libraries. The embedded ones ignore most of
/// them, others need not.

#include <dlfcn.h>

#include <cstring>
#include <set>

#include "actionruledaemon.h"
#include "camera.h"
#include "facesetting.h"
#include "iomodule.h"
#include "ipspeaker.h"
#include "qvdb.h"
#include "rtspinfo.h"
#include "support/hosttest.h"
#include "tavisetting.h"

namespace {

std::set<std::string>* noted = nullptr;  ///< null: calls are not noted now

/// What is noted of an argument: flags, numbers, null pointers, empty texts, and whether a rule skips what is being
/// configured.
template <class T>
std::string Text(const T& argument) {
  if constexpr (std::is_same_v<T, bool>) {
    return argument ? " true" : " false";
  } else if constexpr (std::is_same_v<T, int>) {
    return " " + std::to_string(argument);
  } else if constexpr (std::is_pointer_v<T>) {
    return argument == nullptr ? " null" : "";
  } else if constexpr (std::is_same_v<T, std::string>) {
    return argument.empty() ? " \"\"" : "";
  } else if constexpr (requires { argument.skipConfiguring; }) {
    return " skipConfiguring" + Text(argument.skipConfiguring);
  } else {
    return "";
  }
}

const void* FileOf(const void* address) {
  Dl_info info{};
  return dladdr(address, &info) != 0 ? info.dli_fbase : nullptr;
}

/// The platform's function that `replacement`, one of this program, stands before.
template <class Function>
Function FindReal(Function replacement) {
  void* address = nullptr;  // a member function that is not virtual starts with its address
  std::memcpy(&address, &replacement, sizeof address);
  Dl_info info{};
  dladdr(address, &info);
  void* const next = dlsym(RTLD_NEXT, info.dli_sname);
  std::memcpy(&replacement, &next, sizeof next);
  return replacement;
}

/// Notes the call unless the platform itself makes it, then calls the real function.
template <auto kFunction, class... Arguments>
decltype(auto) Forward(const char* name, const void* caller, Arguments&&... arguments) {
  static const auto real = FindReal(kFunction);
  if (noted != nullptr && FileOf(caller) == FileOf(&noted)) noted->insert((std::string(name) + ... + Text(arguments)));
  return std::invoke(real, std::forward<Arguments>(arguments)...);
}

}  // namespace

// NOLINTBEGIN(performance-unnecessary-value-param): as the contract declares them
#define FUNCTION(RESULT, NAME, PARAMETERS, ...) \
  RESULT NAME PARAMETERS { return Forward<NAME>(#NAME, __builtin_return_address(0), __VA_ARGS__); }
#define MEMBER(NAME, PARAMETERS, ...) \
  int NAME PARAMETERS { return Forward<&NAME>(#NAME, __builtin_return_address(0), *this, __VA_ARGS__); }

using Section = const Json::Value&;

FUNCTION(std::list<Camera>, CamGetList, (CamFilterRule & rule, int& total, bool beyond), rule, std::ref(total), beyond)
FUNCTION(std::list<IOModule>, IOModuleGetList, (IOModuleFilterRule & rule, int& total, bool beyond), rule,
         std::ref(total), beyond)
FUNCTION(int, InitCamObjByJson, (Section entry, Camera& camera, bool a, bool b, bool c), entry, camera, a, b, c)
FUNCTION(int, InitIOModuleByJson, (Section entry, IOModule& module, bool a, bool b, bool c), entry, module, a, b, c)
FUNCTION(int, QVDB::Execute,
         (DB_INSTANCE database, std::string sql, DBResult_tag** result, bool a, bool b, bool c, bool d), database, sql,
         result, a, b, c, d)
FUNCTION(int, SaveCamObjFromRecServer, (int zr, Section section, bool a, bool b, const std::string& note), zr, section,
         a, b, note)
FUNCTION(int, SaveIOModuleFromRecServer, (int zr, Section section, bool notify), zr, section, notify)
FUNCTION(int, SavePOSFromRecServer, (int zr, Section section, bool notify), zr, section, notify)
FUNCTION(int, SendCmdToDaemon, (const std::string& daemon, int type, Section command, Json::Value* reply, bool a),
         daemon, type, command, reply, a)
FUNCTION(int, SendCompoundCmd, (int zr, Json::Value& command, bool wait), zr, command, wait)
FUNCTION(int, SetFileOwnerToQV, (const std::string& path, bool follow), path, follow)
MEMBER(FaceSetting::Delete, (bool must_exist) const, must_exist)
MEMBER(TaviSetting::Delete, (bool must_exist) const, must_exist)
MEMBER(IOModule::Save, (bool notify, bool settings), notify, settings)
MEMBER(IPSpeaker::SetByJsonWithDBColKey, (Section entry, bool from_server, int id, bool with_status), entry,
       from_server, id, with_status)
// NOLINTEND(performance-unnecessary-value-param)

namespace {

struct Contract : support::StatusTest {
  template <class Work>
  static std::set<std::string> Calls(Work work) {
    std::set<std::string> calls;
    noted = &calls;
    work();
    noted = nullptr;
    return calls;
  }
};

TEST_F(Contract, OfPairing) {
  const Json::Value document = Parse(support::kEverySection);
  EXPECT_THAT(Calls([&] { SaveSlaveInfoPair(SlaveZR(), document, 7); }),
              ElementsAre("SaveCamObjFromRecServer 7 false false \"\"", "SaveIOModuleFromRecServer 7 false",
                          "SavePOSFromRecServer 7 false"));
}

TEST_F(Contract, OfSnapshots) {
  EXPECT_THAT(
      Calls([] {
        for (const char* document : {R"({"camera_info":[{"id":1}],"iomodule_info":[{"id":1}],"speaker_info":[{"id":1}],
                          "iva_info":[{"id":1,"camera_id":1}],"face_info":[{"id":1,"camera_id":1}]})",
                                     R"({"camera_info":[{"id":1,"name":"A"}],"iomodule_info":[{"id":1,"name":"A"}],
                          "speaker_info":[{"id":1,"name":"A"}],"iva_info":[],"face_info":[]})",
                                     "{}"}) {
          SaveSlaveInfoUpdate(SlaveZR(), Parse(document), 7);
        }
      }),
      ElementsAre("CamGetList skipConfiguring false false", "FaceSetting::Delete false", "IOModule::Save false false",
                  "IOModuleGetList skipConfiguring false false", "IPSpeaker::SetByJsonWithDBColKey true 0 false",
                  "IPSpeaker::SetByJsonWithDBColKey true 1 false", "InitCamObjByJson false true false",
                  "InitCamObjByJson true true false", "InitIOModuleByJson false true false",
                  "InitIOModuleByJson true true false", "QVDB::Execute 0 false true true true",
                  "SendCompoundCmd 7 false", "TaviSetting::Delete false"));
}

TEST_F(Contract, OfAReport) {
  SaveSlaveInfoPair(SlaveZR(), Parse(support::kEverySection), 7);
  EXPECT_THAT(Calls([&] {
                Report(R"({"status":1,"camera_info":[{"id":1,"rtsp_key":"of the contract"}],
                    "iomodule_info":[{"id":1,"status":3}],"POS_info":[{"id":1,"status":3}],
                    "speaker_info":[{"id":1,"status":3}]})");
              }),
              ElementsAre("QVDB::Execute 0 null false true true true", "QVDB::Execute 13 null false true true true",
                          "QVDB::Execute 9 null false true true true", "SetFileOwnerToQV false"));
}

TEST_F(Contract, OfRemoval) {
  EXPECT_THAT(Calls([] { SyncRelatedTableForSlaveDel(3); }), ElementsAre("SendCmdToDaemon 6 null false"));
}

}  // namespace
