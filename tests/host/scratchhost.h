/// A data folder for each test and the host in it, for tests that know nothing but the host's headers.
#pragma once

#include <gmock/gmock.h>
#include <qv/host.h>

#include <filesystem>
#include <memory>

#include "support/hoststate.h"
#include "support/scratchfolder.h"

struct HostApiTest : testing::Test {
  HostApiTest() { support::UseReadyDatabase(folder_ / "data"); }
  ~HostApiTest() override { host_.reset(); }

  qv::HostOptions Options() const {
    return {.data_folder = folder_ / "data",
            .database = support::DatabaseOf(folder_ / "data"),
            .log = {.to_stderr = false}};
  }
  qv::Host& Open(const qv::HostOptions& options) { return *(host_ = std::make_unique<qv::Host>(options)); }
  qv::Host& Open() { return Open(Options()); }

  const support::ScratchFolder scratch_;
  const std::filesystem::path folder_ = scratch_.path();
  std::unique_ptr<qv::Host> host_;
};

/// The refusal that `call` throws, as "code: text"; empty if it throws none.
std::string RefusalOf(auto&& call) {
  try {
    call();
    return "";
  } catch (const qv::Refusal& refusal) {
    return std::string(NameOf(refusal.code())) + ": " + refusal.what();
  }
}
