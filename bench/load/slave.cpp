#include "slave.h"

#include <array>
#include <cmath>

namespace qvload {
namespace {

constexpr int kWell = 1;
constexpr int kLost = 2;

// Of a lively slave's reports, one in so many:
constexpr int kFailure = 40;  ///< has a device that fails
constexpr int kReturn = 12;   ///< has a certain failed device back
constexpr int kChange = 200;  ///< follows a changed configuration

constexpr std::array<std::string_view, 12> kPlaces = {
    "Main entrance", "Lobby", "Loading dock", "Parking north",  "Parking south", "Warehouse",
    "Checkouts",     "Aisle", "Back door",    "Staff entrance", "Server room",   "Ramp"};
constexpr std::array<std::string_view, 4> kModels = {"QVA-3216", "QVA-3232", "QVA-1608", "QVA-6464"};
constexpr std::array<std::string_view, 3> kVersions = {"9.1.0-8112", "9.1.0-8112", "9.0.4-7960"};

std::string Quoted(std::string_view text) { return '"' + std::string(text) + '"'; }

std::string PlaceName(int number) {
  const auto place = static_cast<std::size_t>(number) % kPlaces.size();
  return std::string(kPlaces[place]) + ' ' + std::to_string(1 + number / static_cast<int>(kPlaces.size()));
}

/// "[{"id":1,...},{"id":2,...}]" of as many entries.
template <class Members>
std::string List(std::size_t count, const Members& members) {
  std::string text = "[";
  for (std::size_t i = 0; i < count; ++i) {
    text += (i == 0 ? "{\"id\":" : ",{\"id\":") + std::to_string(i + 1) + members(i) + '}';
  }
  return text + ']';
}

}  // namespace

Slave::Slave(int zr, const SlaveOptions& options)
    : zr_(zr), options_(options), random_(static_cast<unsigned>(zr) * 7919U) {
  if (!options.is_lively) {
    AddCameras(options.cameras);
    return;
  }
  AddCameras(1 + options.cameras / 4 + Below(2 * options.cameras));
  Add("POS_info", Below(5), "Checkout", R"(,"vendor":"Tillworks","model":"TX-410","port":9100)");
  Add("speaker_info", Below(4), "Speaker", R"(,"vendor":"Klangwerk","model":"HR-20","volume":60)");
  Add("iomodule_info", Below(3), "Gate", R"(,"vendor":"Relayon","model":"RX-8","input_count":2,"output_count":2)");
  AddControllers(Below(3));
}

void Slave::AddCameras(int count) {
  Section section{"camera_info", {}};
  for (int i = 0; i < count; ++i) {
    const std::string name = options_.is_lively ? PlaceName(i) : "Camera " + std::to_string(i + 1);
    section.devices.push_back(
        {",\"name\":" + Quoted(name) + ",\"vendor\":\"Oculor\",\"model\":\"DX-400\",\"host\":\"192.0.2." +
             std::to_string(i + 1) + "\",\"port\":443,\"resolution\":\"2560x1440\",\"enabled\":true",
         "", kWell});
  }
  sections_.push_back(std::move(section));
}

void Slave::Add(const char* section, int count, std::string_view what, const std::string& members) {
  Section added{section, {}};
  for (int i = 0; i < count; ++i) {
    const std::string name = std::string(what) + ' ' + std::to_string(i + 1);
    added.devices.push_back({",\"name\":" + Quoted(name) + ",\"enabled\":true" + members, "", kWell});
  }
  sections_.push_back(std::move(added));
}

void Slave::AddControllers(int count) {
  Section section{"ctrler_info", {}};
  for (int i = 0; i < count; ++i) {
    const auto doors = static_cast<std::size_t>(1 + Below(4));
    const auto door = [&](std::size_t number) {
      return ",\"name\":" + Quoted(PlaceName(i + static_cast<int>(number))) + ",\"cam_id\":1,\"status\":1";
    };
    const std::string address = ",\"mac_addr\":\"02:00:5E:20:00:0" + std::to_string(i) + '"';
    section.devices.push_back({address + ",\"name\":" + Quoted("Controller " + std::to_string(i + 1)) +
                                   ",\"model\":\"A1601\",\"enabled\":true,\"door\":" + List(doors, door),
                               address + ",\"door\":" + List(doors, [](std::size_t) { return ",\"status\":1"; }),
                               kWell});
  }
  sections_.push_back(std::move(section));
}

std::string_view Slave::model() const { return kModels[static_cast<std::size_t>(zr_) % kModels.size()]; }

std::string Slave::Snapshot() const {
  std::string text;
  for (const auto& [name, devices] : sections_) {
    text += (text.empty() ? "{" : ",") + Quoted(name) + ':';
    text += List(devices.size(), [&devices = devices](std::size_t i) { return devices[i].configuration; });
  }
  return text + '}';
}

std::string Slave::Report() {
  ChangeStates();
  const auto version = static_cast<std::size_t>(zr_) % kVersions.size();
  std::string text =
      R"({"status":1,"pkg_status":0,"vol_status":0,"tarn_version":"5.2.1","volSpace":)" +
      std::to_string(1000 + zr_ * 617 % 7000) + ",\"cam_count\":" + std::to_string(sections_.front().devices.size()) +
      ",\"serial_num\":\"QVA3216-" + std::to_string(zr_) + "\",\"qv_version\":" + Quoted(kVersions[version]);
  for (const auto& [name, devices] : sections_) {
    text += ',' + Quoted(name) + ':' + List(devices.size(), [&devices = devices](std::size_t i) {
              return ",\"status\":" + std::to_string(devices[i].state) + devices[i].reported;
            });
  }
  return text + '}';
}

void Slave::ChangeStates() {
  std::vector<Device>& cameras = sections_.front().devices;
  if (!options_.is_lively) {
    const auto changes = std::lround(options_.changed * static_cast<double>(cameras.size()));
    for (long i = 0; i < changes; ++i) {
      int& state = cameras[random_() % cameras.size()].state;
      state = state == kWell ? kLost : kWell;
    }
    return;
  }
  for (Section& section : sections_) {
    for (Device& device : section.devices) {
      if (device.state != kWell && Below(kReturn) == 0) device.state = kWell;
    }
  }
  // Mostly cameras: there are more of them.
  std::vector<Device>& devices = Below(4) == 0 ? sections_[random_() % sections_.size()].devices : cameras;
  if (Below(kFailure) == 0 && !devices.empty()) devices[random_() % devices.size()].state = kLost;
}

bool Slave::ChangesConfiguration() {
  if (!options_.is_lively || Below(kChange) != 0) return false;
  std::vector<Device>& cameras = sections_.front().devices;
  cameras.push_back(cameras[random_() % cameras.size()]);
  return true;
}

int Slave::Below(int bound) { return static_cast<int>(random_() % static_cast<unsigned>(bound)); }

}  // namespace qvload
