#include "host.h"

#include "db/database.h"
#include "log/log.h"

namespace qvcms {

Host::Host(const GlobalOptions& options) {
  qv::log::Settings log;
  log.level = options.log_level;
  log.file = options.log_file;
  qv::log::Configure(log);
  qv::db::Options database;
  database.driver.durability = options.durability;
  qv::db::Open(options.data_dir, database);
}

Host::~Host() { qv::db::Close(); }

std::string WithRemedy(const qv::db::Error& error) {
  switch (error.kind()) {
    case qv::db::Error::Kind::Busy:
      return error.what() + std::string("; another command is at work on the data folder: try again when it is done");
    case qv::db::Error::Kind::Lost:
      return error.what() +
             std::string("; no row was changed: see that the disk has room and is sound, then try again");
    default:
      return error.what();
  }
}

}  // namespace qvcms
