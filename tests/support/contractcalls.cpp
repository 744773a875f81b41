#include "contractcalls.h"

#include <cxxabi.h>
#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>

#include "actionruledaemon.h"
#include "axisacsctrler.h"
#include "camcap.h"
#include "camera.h"
#include "facesetting.h"
#include "iomodule.h"
#include "ipspeaker.h"
#include "pos.h"
#include "qvdb.h"
#include "qvjson.h"
#include "qvobjectcounting.h"
#include "recserversavers.h"
#include "rtspinfo.h"
#include "slavedata.h"
#include "tavisetting.h"

namespace support {
namespace {

thread_local Lines* noted = nullptr;  ///< null: calls are not noted now

std::string Text(bool value) { return value ? " true" : " false"; }
std::string Text(int value) { return " " + std::to_string(value); }
std::string Text(const std::string& text) { return " \"" + text + "\""; }
std::string Text(const Json::Value& value) { return " " + JsonWrite(value, true); }
std::string Text(const Json::Value* value) { return value == nullptr ? " null" : " a value"; }
/// A record.
template <class Record>
requires requires(const Record& record) { record.GetOwnerZrId(); }
std::string Text(const Record& record) {
  int there = 0;
  if constexpr (requires { record.GetIdOnRecServer(); }) there = record.GetIdOnRecServer();
  return " row " + std::to_string(record.GetId()) + ", server " + std::to_string(record.GetOwnerZrId()) + ", there " +
         std::to_string(there);
}
/// The criteria that a rule has set.
std::string Text(const auto& rule) requires requires { rule.skipConfiguring; }
{ return " owner" + Text(rule.ownerZrId) + " skipConfiguring" + Text(rule.skipConfiguring); }
std::string Text(const auto& rule) requires requires { rule.hostLocalOnly.Value(); }
{
  std::string text = rule.ownerZrIds ? " owner" + Text(rule.ownerZrIds.Value().front()) : "";
  if (rule.hostLocalOnly) text += " hostLocalOnly" + Text(rule.hostLocalOnly.Value());
  return text + (rule.ids || rule.enabled ? " and more" : "");
}

std::string Text(const auto& rule) requires requires { rule.cameraIds.Value(); }
{
  return " owner" + Text(rule.ownerZrId.Value()) + (rule.ids || rule.idOnRecServer || rule.enabled ? " and more" : "");
}

/// An argument that only receives something: not noted.
template <class T>
struct Receiver {
  T& receives;
};
template <class T>
std::string Text(const Receiver<T>& /*argument*/) {
  return "";
}
template <class T>
auto&& Argument(T&& argument) {
  if constexpr (requires { argument.receives; }) {
    return argument.receives;
  } else {
    return std::forward<T>(argument);
  }
}

/// The function of this name in the platform, and the name as a caller knows it.
template <class Function>
struct Real {
  Function function;
  std::string name;
};

template <class Function>
Real<Function> FindReal(Function replacement) {
  void* address = nullptr;  // a member function that is not virtual starts with its address
  std::memcpy(&address, &replacement, sizeof address);
  Dl_info info{};
  if (dladdr(address, &info) == 0 || info.dli_sname == nullptr) std::abort();
  void* const next = dlsym(RTLD_NEXT, info.dli_sname);
  if (next == nullptr) std::abort();
  const std::unique_ptr<char, decltype(&std::free)> name(abi::__cxa_demangle(info.dli_sname, nullptr, nullptr, nullptr),
                                                         std::free);
  Real<Function> real{replacement, name.get()};
  std::memcpy(&real.function, &next, sizeof next);
  real.name.resize(std::min(real.name.find('('), real.name.find('[')));
  return real;
}

/// While there is one, calls are not noted.
struct Unnoted {
  Lines* before = std::exchange(noted, nullptr);
  ~Unnoted() { noted = before; }
};

/// Whether the address lies in this program, not in a library.
bool IsOurs(const void* address) {
  Dl_info theirs{};
  Dl_info ours{};
  return dladdr(address, &theirs) != 0 && dladdr(reinterpret_cast<const void*>(&IsOurs), &ours) != 0 &&
         theirs.dli_fbase == ours.dli_fbase;
}

/// Notes the call, then calls the real function.
template <auto kFunction, class... Arguments>
decltype(auto) Forward(Arguments&&... arguments) {
  static const auto real = FindReal(kFunction);
  if (noted != nullptr) noted->push_back((real.name + ... + Text(arguments)));
  const Unnoted inner_calls;
  return std::invoke(real.function, Argument(std::forward<Arguments>(arguments))...);
}

template <class T>
Receiver<T> Receives(T& value) {
  return {value};
}

}  // namespace

Lines Calls(const std::function<void()>& work) {
  Lines lines;
  noted = &lines;
  work();
  noted = nullptr;
  return lines;
}

}  // namespace support

using support::Forward;
using support::IsOurs;
using support::Receives;
using support::Unnoted;

// NOLINTBEGIN(bugprone-macro-parentheses, performance-unnecessary-value-param): names and the contract's types
#define CALL1(R, NAME, A) \
  R NAME(A a) { return Forward<NAME>(a); }
#define CALL2(R, NAME, A, B) \
  R NAME(A a, B b) { return Forward<NAME>(a, b); }
#define CALL3(R, NAME, A, B, C) \
  R NAME(A a, B b, C c) { return Forward<NAME>(a, b, c); }
#define CALL5(R, NAME, A, B, C, D, E) \
  R NAME(A a, B b, C c, D d, E e) { return Forward<NAME>(a, b, c, d, e); }
#define SAVE(CLASS) \
  int CLASS::Save() { return Forward<&CLASS::Save>(*this); }

using Section = const Json::Value&;

CALL2(int, OperateAllEvtMntByZrId, EVENT_MNT_OPERATE_TYPE, int)
CALL5(int, SendCmdToDaemon, const std::string&, int, Section, Json::Value*, bool)

CALL2(int, SaveCamDetSettingFromRec, int, Section)
CALL2(int, SaveCamDeviceOutputFromRec, int, Section)
CALL2(int, SaveRecShareFromRec, int, Section)
CALL2(int, UpdateRecShareFromRec, int, Section)
CALL2(int, UpdateCtrlDataInActRule, int, Section)
CALL2(int, SaveIOModuleSettingFromRec, int, Section)
CALL2(int, SaveIOModuleCamPairingFromRec, int, Section)
CALL2(int, SavePOSEventConfFromRecServer, int, Section)
CALL2(int, SaveSpeakerFromRecServer, int, Section)
CALL2(int, SaveCtrlerFromRec, int, Section)
CALL3(int, SavePOSFromRecServer, int, Section, bool)
CALL3(int, SaveIOModuleFromRecServer, int, Section, bool)
CALL5(int, SaveCamObjFromRecServer, int, Section, bool, bool, const std::string&)
CALL1(int, IsInteSupApi, const std::string&)
CALL3(int, SendCompoundCmd, int, Json::Value&, bool)

std::list<Camera> CamGetList(CamFilterRule& rule, int& total, bool beyond) {
  return Forward<CamGetList>(rule, Receives(total), beyond);
}
std::list<IOModule> IOModuleGetList(IOModuleFilterRule& rule, int& total, bool count_only) {
  return Forward<IOModuleGetList>(rule, Receives(total), count_only);
}
int GetPOSListByRule(const POSFilterRule& rule, std::list<POS>& list) {
  return Forward<GetPOSListByRule>(rule, Receives(list));
}
std::list<IPSpeaker> IPSpeakerGetList(const IPSpeakerFilterRule& rule, int& total) {
  return Forward<IPSpeakerGetList>(rule, Receives(total));
}
using Modules = std::map<int, IOModule>;
using Terminals = std::map<int, POS>;
using Speakers = std::map<int, IPSpeaker>;
CALL2(Modules, GetIOModuleMapOnRecServer, int, bool)
CALL2(Terminals, GetPOSMapOnRecServer, int, bool)
CALL2(Speakers, GetSpeakerMapOnRecServer, int, bool)

CALL5(int, InitCamObjByJson, Section, Camera&, bool, bool, bool)
CALL5(int, InitIOModuleByJson, Section, IOModule&, bool, bool, bool)
int POS::SetByJson(const Json::Value& entry, bool from_rec_server, int host_id) {
  return Forward<&POS::SetByJson>(*this, entry, from_rec_server, host_id);
}
int IPSpeaker::SetByJsonWithDBColKey(const Json::Value& entry, bool from_rec_server, int host_id, bool with_status) {
  return Forward<&IPSpeaker::SetByJsonWithDBColKey>(*this, entry, from_rec_server, host_id, with_status);
}
int AxisAcsCtrler::SetByJson(const Json::Value& entry) { return Forward<&AxisAcsCtrler::SetByJson>(*this, entry); }
SAVE(Camera)
SAVE(POS)
SAVE(IPSpeaker)
SAVE(AxisAcsCtrler)
SAVE(AxisDoor)
int IOModule::Save(bool notify, bool settings) { return Forward<&IOModule::Save>(*this, notify, settings); }
int Camera::Delete(bool notify) const { return Forward<&Camera::Delete>(*this, notify); }
CALL2(int, SyncRelatedTableForCamDel, const Camera&, bool)
int TaviSetting::Enum(const IvaSettingFilterRule& rule, std::list<TaviSetting>& list) {
  return Forward<TaviSetting::Enum>(rule, Receives(list));
}
int FaceSetting::Enum(const FaceSettingFilterRule& rule, std::list<FaceSetting>& list) {
  return Forward<FaceSetting::Enum>(rule, Receives(list));
}
std::map<std::pair<int, int>, int> QvObjectCounting::GetWidgetCmsInfo2IdMap() {
  return Forward<QvObjectCounting::GetWidgetCmsInfo2IdMap>();
}
int TaviSetting::Delete(bool must_exist) const { return Forward<&TaviSetting::Delete>(Receives(*this), must_exist); }
int FaceSetting::Delete(bool must_exist) const { return Forward<&FaceSetting::Delete>(Receives(*this), must_exist); }

// The platform calls these two itself, from functions that are not replaced.
int QVDB::Execute(DB_INSTANCE instance, std::string sql, DBResult_tag** result, bool last_id, bool retry, bool log,
                  bool cache) {
  std::optional<Unnoted> of_platform;
  if (!IsOurs(__builtin_return_address(0))) of_platform.emplace();
  return Forward<QVDB::Execute>(instance, sql, Receives(result), last_id, retry, log, cache);
}
void QVDBFreeResult(DBResult_tag* result) {
  std::optional<Unnoted> of_platform;
  if (!IsOurs(__builtin_return_address(0))) of_platform.emplace();
  Forward<QVDBFreeResult>(Receives(result));
}
int SetFileOwnerToQV(const std::string& path, bool follow_link) {
  return Forward<SetFileOwnerToQV>(Receives(path), follow_link);
}
// NOLINTEND(bugprone-macro-parentheses, performance-unnecessary-value-param)
