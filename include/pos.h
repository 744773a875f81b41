/// POS terminals: point-of-sale devices whose transactions are overlaid on video and recorded with it.
///
/// A `POS` is one row of the host. List rows with `GetPOSListByRule`, compare one with a slave's entry
/// (`IsCfgChged`), take the entry over (`SetByJson`), write it (`Save`).
#pragma once

#include <json/value.h>

#include <list>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "qvoptional.h"
#include "taggedfield.h"
#include "textruletype.h"

#define POS_FIELDS(FIELD)                                                                              \
  FIELD(POSData, int, Id, "id", HostId)                                                                \
  FIELD(POSData, int, IdOnRecServer, "id_on_rec_server", IdOnSlave)                                    \
  FIELD(POSData, int, OwnerZrId, "owner_zr_id", Owner)                                                 \
  FIELD(POSData, std::string, Name, "name", Config)                                                    \
  FIELD(POSData, bool, Enabled, "enabled", Config, .default_int = 1)                                   \
  FIELD(POSData, std::string, Vendor, "vendor", Config)                                                \
  FIELD(POSData, std::string, Model, "model", Config)                                                  \
  FIELD(POSData, int, ConnectionType, "connection_type", Config) /* 0 listens, 1 connects, 2 serial */ \
  FIELD(POSData, std::string, Host, "host", Config)                                                    \
  FIELD(POSData, int, Port, "port", Config)                                                            \
  FIELD(POSData, int, BaudRate, "baud_rate", Config, .default_int = 9600) /* serial lines, bit/s */    \
  FIELD(POSData, std::string, Username, "username", Secret)                                            \
  FIELD(POSData, std::string, Password, "password", Secret)                                            \
  FIELD(POSData, std::string, Encoding, "encoding", Config) /* character set of the receipt text */    \
  FIELD(POSData, std::string, TransactionStart, "transaction_start", Config)                           \
  FIELD(POSData, std::string, TransactionEnd, "transaction_end", Config)                               \
  FIELD(POSData, int, TransactionTimeout, "transaction_timeout", Config, .default_int = 30) /* s */    \
  FIELD(POSData, JsonText, PairedCameras, "paired_cameras", Config) /* camera ids on the slave */      \
  FIELD(POSData, bool, OverlayEnabled, "overlay_enabled", Config)                                      \
  FIELD(POSData, int, OverlayPosition, "overlay_position", Config)                                     \
  FIELD(POSData, int, OverlayFontSize, "overlay_font_size", Config)                                    \
  FIELD(POSData, std::string, OverlayFontColor, "overlay_font_color", Config)                          \
  FIELD(POSData, std::string, OverlayBackground, "overlay_background", Config)                         \
  FIELD(POSData, int, OverlayDuration, "overlay_duration", Config, .default_int = 10) /* s */          \
  FIELD(POSData, bool, RecordTransactions, "record_transactions", Config, .default_int = 1)            \
  FIELD(POSData, int, RetentionDays, "retention_days", Config)                                         \
  FIELD(POSData, std::string, TimeZone, "time_zone", Config)                                           \
  FIELD(POSData, std::string, Note, "note", Config)                                                    \
  FIELD(POSData, int, Status, "status", Status)                                                        \
  FIELD(POSData, int, DeviceStatusFlags, "device_status_flags", HostOnly)                              \
  FIELD(POSData, JsonText, Extra, "extra", Extra)

QV_DECLARE_FIELDS(POSData, POS_FIELDS)

/// One rule for reading a receipt: texts that match `pattern` are highlighted, replaced by `value`, or dropped.
struct TextRule {
  TEXT_RULE_TYPE type = TEXT_RULE_HIGHLIGHT;
  std::string pattern;
  std::string value;
  bool operator==(const TextRule&) const = default;
};

/// The rules of one terminal, applied in order.
struct PosParsingRule {
  PosParsingRule() = default;
  std::vector<TextRule> rules;
  bool operator==(const PosParsingRule&) const = default;
};

/// A terminal's state: its id on the host and its status.
struct POSStsInfo {
  int id = 0;
  int status = 0;
  bool operator==(const POSStsInfo&) const = default;
};

class POS : public TaggedRecord<POSData::Fields> {
 public:
  /// @return non-zero when applying the slave's entry would change this row, or when it has a member that cannot be
  /// taken
  int IsCfgChged(Json::Value entry) const;
  /// Takes a slave's entry: known members into their fields, "text_rules" into the parsing rule, others into the
  /// extra text. Members that are absent or null keep their value.
  /// @param fromRecServer the entry's "id" is the terminal's id on the slave, not on the host
  /// @param hostId        the row's id on the host, 0 for a new row
  /// @return non-zero when taken; 0 when the entry is no object or a member has an impossible type: nothing changed
  int SetByJson(const Json::Value& entry, bool fromRecServer, int hostId);
  /// Writes the row and its rules; a new row is given its host id. @return 0 on success, -1 on failure
  int Save();
  /// @return 0 when the row is deleted or was not there, -1 on failure
  int Delete() const;

  POSStsInfo GetStsInfo() const { return {GetId(), GetStatus()}; }
  const PosParsingRule& GetParsingRule() const { return rule_; }
  void SetParsingRule(PosParsingRule rule) { rule_ = std::move(rule); }

 private:
  PosParsingRule rule_;
};

/// Which terminals are meant; a criterion that is unset admits every row.
struct POSFilterRule {
  Optional<std::list<int>> ids;
  Optional<std::list<int>> ownerZrIds;
  Optional<bool> enabled;
  Optional<bool> hostLocalOnly;  ///< true: only terminals of the host itself; false: the owner does not matter
};

/// Lists terminals in order of their host ids. @return 0 on success, -1 on failure (the list is empty then)
int GetPOSListByRule(const POSFilterRule& rule, std::list<POS>& list);

/// The terminals of one server by their ids on it, without their parsing rules, which is why they cannot be
/// saved; of several with one id, the one with the lowest host id.
/// @param disabledToo  false leaves out disabled terminals
/// @return the terminals; none on failure
std::map<int, POS> GetPOSMapOnRecServer(int zrId, bool disabledToo);

/// Clears what refers to a deleted terminal (e-map items, event configuration). @return 0 on success, -1 on failure
int SyncRelatedTableForPOSDel(const POS& pos);
