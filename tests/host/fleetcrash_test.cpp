/// Four host processes on one PostgreSQL server: they, their connections and the server die at any moment. In the end
/// the database must be as if the documents had come one after the other, in the order that triggers have noted.

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <map>
#include <thread>

#include "randomdocuments.h"
#include "scratchhost.h"

namespace qv {
namespace {

using Clock = std::chrono::steady_clock;
using Lines = std::vector<std::string>;

constexpr int kIds = 1'000'000;  ///< of a table; the next table's begin behind them

/// Notes in the schema WATCH, with each change of a slave's record, whose it is, and what each id stands for.
constexpr const char* kWatch = R"sql(
  DROP SCHEMA IF EXISTS WATCH CASCADE; CREATE SCHEMA WATCH;
  CREATE TABLE WATCH.history (id BIGSERIAL PRIMARY KEY, zr BIGINT, document TEXT);
  CREATE TABLE WATCH.names (id BIGINT PRIMARY KEY, name TEXT);
  CREATE FUNCTION WATCH.note() RETURNS trigger LANGUAGE plpgsql AS $$BEGIN
    IF TG_OP = 'DELETE' THEN
      INSERT INTO WATCH.history (zr,document) VALUES (OLD.id,'R');
    ELSIF TG_OP = 'INSERT' OR NEW.model <> OLD.model THEN
      INSERT INTO WATCH.history (zr,document) VALUES (NEW.id,NEW.model);
    ELSIF NEW.serial_num <> OLD.serial_num THEN
      INSERT INTO WATCH.history (zr,document) VALUES (NEW.id,NEW.serial_num);
    END IF;
    RETURN NULL;
  END$$;
  CREATE TRIGGER note AFTER INSERT OR UPDATE OR DELETE ON server FOR EACH ROW EXECUTE FUNCTION WATCH.note();
  CREATE FUNCTION WATCH.name() RETURNS trigger LANGUAGE plpgsql AS $$BEGIN
    INSERT INTO WATCH.names VALUES (NEW.id,TG_TABLE_NAME || ' ' || NEW.id_on_rec_server || ' of ' || NEW.owner_zr_id);
    RETURN NULL;
  END$$;
  DO $$DECLARE
    each RECORD;
    first BIGINT := 0;
  BEGIN
    FOR each IN SELECT table_name FROM information_schema.columns
                 WHERE table_schema = current_schema() AND column_name = 'id_on_rec_server' LOOP
      EXECUTE 'CREATE TRIGGER name AFTER INSERT ON ' || each.table_name ||
              ' FOR EACH ROW EXECUTE FUNCTION WATCH.name()';
    END LOOP;
    FOR each IN SELECT sequencename FROM pg_sequences WHERE schemaname = current_schema() ORDER BY 1 LOOP
      first := first + 1000000;
      PERFORM setval(each.sequencename::regclass, first);
    END LOOP;
  END$$)sql";

/// A call's name tells what it does: P3.17 pairs, U3.17 updates, S3.17 reports, R3.17 removes; as the 17th of the
/// process 3.
void Make(Host& host, int zr, const std::string& name) {
  std::string seed = name.substr(1);
  std::replace(seed.begin(), seed.end(), '.', '0');
  support::RandomDocuments documents(seed.empty() ? 0 : static_cast<unsigned>(std::stoul(seed)));
  const ImportOptions options{.model = name, .allow_removals = true};
  if (name[0] == 'P') {
    host.Pair(zr, Document::Parse(documents.Snapshot(0)), options);
  } else if (name[0] == 'U') {
    host.Update(zr, Document::Parse(documents.Snapshot(0)), options);
  } else if (name[0] == 'S') {
    host.Status(zr, Document::Parse(documents.Status(0, name.c_str())));
  } else {
    host.Remove(zr);
  }
}

struct FleetCrashTest : HostApiTest {
  HostOptions OptionsOf(const std::string& folder, const std::string& database) const {
    return {.data_folder = folder_ / folder,
            .database = support::DatabaseOf(folder_ / database),
            .log = {.to_stderr = false}};
  }
  void MakeWatchedHost(const std::string& folder) {
    Open(OptionsOf(folder, folder));
    host_.reset();
    std::string sql = kWatch;
    for (std::size_t at = 0; (at = sql.find("WATCH", at)) != std::string::npos;) sql.replace(at, 5, "watch_" + folder);
    support::ExecuteInFolder(folder_ / folder, sql);
  }

  /// What a host process does until there is the file "stop". It notes the outcome of each call.
  void Work(int place, int life) const {
    const int log = open((folder_ / "calls").c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    const HostOptions options = OptionsOf("machine" + std::to_string(place), "fleet");
    const std::unique_ptr<Host> host = [&] {
      for (;;) {
        try {
          return std::make_unique<Host>(options);
        } catch (const Refusal&) {  // the server is not there
          usleep(50'000);
        }
      }
    }();
    support::RandomDocuments random(static_cast<unsigned>(life));
    for (int n = 1; !std::filesystem::exists(folder_ / "stop");) {
      std::vector<std::function<void()>> calls;
      Lines names;
      for (unsigned i = random.Below(4) == 0 ? 4 : 1; i > 0; --i, ++n) {
        const int zr = static_cast<int>(random.Below(2) == 0 ? 1 + random.Below(3) : 10 + static_cast<unsigned>(place));
        const std::string name = "PUUSSSSR"[random.Below(8)] + std::to_string(life) + '.' + std::to_string(n);
        calls.emplace_back([&host, zr, name] { Make(*host, zr, name); });
        names.push_back(name + ' ' + std::to_string(zr));
      }
      const std::vector<Host::Outcome> outcomes = host->Together(calls);
      std::string lines;
      for (std::size_t i = 0; i < names.size(); ++i) {
        lines += names[i] + ' ' + (outcomes[i].refusal ? NameOf(outcomes[i].refusal->code()) : "done").data() + '\n';
      }
      static_cast<void>(!write(log, lines.data(), lines.size()));
    }
  }
  pid_t Start(int place) {
    const int life = ++lives_;
    const pid_t child = fork();
    if (child != 0) return child;
    Work(place, life);
    _exit(0);
  }

  /// Rows and messages of no slave with names in place of ids, and the messages of each slave in their order.
  Lines Look(const std::string& folder) const {
    std::map<std::string, std::string> names;
    for (const std::string& row : support::QueryFolder(folder_ / folder, "SELECT * FROM watch_" + folder + ".names")) {
      names[row.substr(0, row.find('|'))] = row.substr(row.find('|') + 1);
    }
    Lines lines = support::QueryFolder(folder_ / folder, support::QueryForAllRows(folder_ / folder));
    std::erase_if(lines, [](const std::string& line) { return line.starts_with("message|"); });
    for (std::string& line : lines) line = WithNames(line, names);
    Lines in_order;
    for (const std::string& message :
         support::QueryFolder(folder_ / folder, "SELECT zr_id,target,command,payload FROM message ORDER BY zr_id,id")) {
      (message.starts_with("0|") ? lines : in_order).push_back(WithNames(message, names));
    }
    std::sort(lines.begin(), lines.end());
    lines.insert(lines.end(), in_order.begin(), in_order.end());
    return lines;
  }
  static std::string WithNames(const std::string& line, const std::map<std::string, std::string>& names) {
    std::string text;
    for (std::size_t i = 0; i < line.size();) {
      const std::size_t end = std::min(line.find_first_not_of("0123456789", i), line.size());
      const std::string number = line.substr(i, end - i);
      const bool is_id = (number.size() == 7 || number.size() == 8) && std::stoi(number) >= kIds;
      const auto name = names.find(number);
      text += !is_id ? number : name != names.end() ? name->second : "row " + std::to_string(std::stoi(number) / kIds);
      if (end < line.size()) text += line[end];
      i = end + 1;
    }
    return text;
  }

  int lives_ = 0;
};

TEST_F(FleetCrashTest, LeavesTheStateOfSomeSerialOrder) {
  if (!support::OnPostgresql()) GTEST_SKIP() << "about a server";
  const char* const seconds = std::getenv("QV_SECONDS");
  const char* const seed = std::getenv("QV_SEED");
  const char* const server = std::getenv("QVCMS_TEST_SERVER");
  const std::string control = std::string(server == nullptr ? "" : server) + "/control ";
  MakeWatchedHost("fleet");
  support::RandomDocuments random(seed == nullptr ? 1 : static_cast<unsigned>(std::stoul(seed)));
  std::array<pid_t, 4> machines{};
  for (int place = 0; place < 4; ++place) machines[static_cast<std::size_t>(place)] = Start(place);
  std::map<std::string, int> events;
  const auto end = Clock::now() + std::chrono::seconds(seconds == nullptr ? 4 : std::stoi(seconds));
  while (Clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100 + random.Below(500)));
    const unsigned what = random.Below(20);
    if (what < 9) {
      const unsigned place = random.Below(4);
      kill(machines[place], SIGKILL);
      waitpid(machines[place], nullptr, 0);
      machines[place] = Start(static_cast<int>(place));
      ++events["process"];
    } else if (what < 18) {
      support::QueryPostgresql(std::getenv("QVCMS_TEST_DATABASE"),
                               "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE pid <> pg_backend_pid() "
                               "AND usename = current_user ORDER BY random() LIMIT 1");
      ++events["connection"];
    } else {
      const std::string manner = what == 18             ? "crash"
                                 : random.Below(2) == 0 ? "restart -m fast"
                                                        : "restart -m immediate";
      ASSERT_EQ(std::system((control + manner).c_str()), 0) << manner;
      ++events["server: " + manner];
    }
  }
  std::ofstream(folder_ / "stop") << "now";
  for (const pid_t machine : machines) {
    int status = 0;
    waitpid(machine, &status, 0);
    EXPECT_EQ(status, 0);
  }

  const Lines history =
      support::QueryFolder(folder_ / "fleet", "SELECT document,zr FROM watch_fleet.history ORDER BY id");
  std::map<std::string, int> applied;
  for (const std::string& entry : history) ++applied[entry.substr(0, entry.find('|'))];
  std::ifstream calls(folder_ / "calls");
  int done = 0;
  std::string zr;
  std::string outcome;
  for (std::string name; calls >> name >> zr >> outcome;) {
    if (name[0] == 'R') continue;
    if (outcome == "done") {
      EXPECT_EQ(applied[name], 1) << name << " was answered";
      ++done;
    } else {
      EXPECT_EQ(applied[name], 0) << name << " was refused: " << outcome;
      ++events["call: " + outcome];
    }
  }
  EXPECT_GT(done, 10);

  MakeWatchedHost("replayed");
  Host& host = Open(OptionsOf("replayed", "replayed"));
  for (const std::string& entry : history) {
    const std::size_t end_of_name = entry.find('|');
    Make(host, std::stoi(entry.substr(end_of_name + 1)), entry.substr(0, end_of_name));
  }
  host_.reset();
  const Lines replayed = Look("replayed");
  const Lines fleet = Look("fleet");
  EXPECT_EQ(fleet, replayed) << support::FirstDifference(fleet, replayed);
  for (int place = 0; place < 4; ++place) {
    const std::string folder = "machine" + std::to_string(place);
    Open(OptionsOf(folder, "fleet"));
    host_.reset();
    const Lines files = support::DumpFiles(folder_ / folder / "capability");
    EXPECT_EQ(files, support::DumpFiles(folder_ / "replayed/capability")) << folder;
  }
  for (const auto& [what, count] : events) printf("fleet: %d times %s\n", count, what.c_str());
  printf("fleet: %zu changes, %d calls done\n", history.size(), done);
}

}  // namespace
}  // namespace qv
