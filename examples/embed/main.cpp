/// A host inside another program: applies the documents of two servers from two threads, and prints what changed.
///
///     embed DATA_FOLDER EXAMPLES

#include <qv/host.h>

#include <cstdio>
#include <exception>
#include <mutex>
#include <string>
#include <thread>

namespace {

std::mutex output;

void Print(int server, const char* document, const qv::ChangeResult& result) {
  const std::lock_guard lock(output);
  std::printf("server %d, %s:\n", server, document);
  for (const qv::KindChanges& kind : result.changes) {
    std::printf("  %-24s %d added, %d updated, %d removed\n", kind.kind.c_str(), kind.added, kind.updated,
                kind.removed);
  }
  for (const qv::Fault& fault : result.unused) {
    std::printf("  not used: %s: %s\n", fault.place.c_str(), fault.reason.c_str());
  }
}

void Apply(qv::Host& host, int server, const std::string& examples) {
  try {
    Print(server, "pairing", host.Pair(server, qv::Document::ReadFile(examples + "/slave7-pair.json")));
    Print(server, "snapshot", host.Update(server, qv::Document::ReadFile(examples + "/slave7-snapshot-1.json")));
    Print(server, "status", host.Status(server, qv::Document::ReadFile(examples + "/slave7-status.json")));
  } catch (const qv::Refusal& refusal) {
    std::fprintf(stderr, "server %d: %s (%s)\n", server, refusal.what(), NameOf(refusal.code()).data());
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 64;
  const std::string examples = argv[2];
  try {
    qv::Host host({.data_folder = argv[1], .log = {.level = 2}});
    {
      const std::jthread first([&] { Apply(host, 7, examples); });
      const std::jthread second([&] { Apply(host, 8, examples); });
    }
    const qv::Page page = host.List({.kind = "camera", .zr = 8});
    std::printf("server 8 has %zu cameras; %zu servers are known\n", page.rows.size(), host.Servers().size());
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
