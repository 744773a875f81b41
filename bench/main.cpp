/// Measures the library beside its yardsticks and prints figure and target side by side. `--benchmark_filter=REGEX`
/// picks cases by their names.
#include "cases.h"
#include "comparison.h"

int main(int argc, char** argv) {
  bench::RegisterReadingCases();
  bench::RegisterSnapshotCases();
  bench::RegisterStatusCases();
  bench::RegisterCommandCases();
  bench::RegisterListCases();
  bench::RegisterFleet();
  bench::RegisterPostgresqlCases();
  return bench::RunAll(argc, argv);
}
