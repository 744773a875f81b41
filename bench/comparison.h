/// Cases that are measured beside their yardsticks, and the table of what came out.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace bench {

/// One way to do the work of a case.
struct Contender {
  std::string name;
  std::function<void()> prepare = {};  ///< before each run, not measured
  std::function<void()> run;
  std::function<void()> check = {};  ///< after each run, not measured; throws when the work was not done
  double entries = 1;                ///< its time counts per entry
};

/// What the first contender must reach beside another one.
struct Goal {
  std::size_t yardstick;  ///< index of the other
  double limit;           ///< at most this multiple of its time
};

/// The contenders run in turn, so that whatever else the machine does disturbs all of them alike.
struct Comparison {
  std::vector<Contender> contenders;
  std::vector<Goal> goals;
  bool waits = false;                      ///< the work waits for the disk: measured by the clock on the wall
  int rounds = 1;                          ///< turns that make one repetition
  std::function<std::string()> note = {};  ///< for the table, asked for after the last turn
};

/// Measures a case under its name. @param make  called when its turn comes; it is gone when the next case begins
void Compare(const std::string& name, int repetitions, std::function<Comparison()> make);

/// A row of the table that is no comparison. @param measure  gives the figure; throws when it misses the target
void Report(const std::string& name, std::function<std::string()> measure);

/// Runs everything registered and prints the table. @return the exit status: 1 when a case failed or missed its goal
int RunAll(int argc, char** argv);

}  // namespace bench
