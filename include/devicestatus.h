/// Status flags that every device row of the host carries, and the state of an I/O module.
#pragma once

/// Bits of a device's `device_status_flags`. The host sets them; a slave never does.
enum __tag_DEV_STATUS_FLAGS : int {    // NOLINT(bugprone-reserved-identifier): the package's name
  DEV_STATUS_FLAG_CONFIGURING = 0x20,  ///< a user is changing the device on the host: slaves must not overwrite it
};

/// A module's state: its id on the host and its status.
struct IOModStsInfo {
  int id = 0;
  int status = 0;
  bool operator==(const IOModStsInfo&) const = default;
};
