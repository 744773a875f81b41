/// The cases, each group in the file of its name.
#pragma once

namespace bench {

void RegisterReadingCases();
void RegisterSnapshotCases();
void RegisterStatusCases();
void RegisterCommandCases();
void RegisterListCases();
void RegisterFleet();
void RegisterPostgresqlCases();

}  // namespace bench
