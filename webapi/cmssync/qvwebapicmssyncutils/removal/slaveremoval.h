/// Removal of everything that the host keeps for a slave. Every step runs even if earlier ones failed.
#pragma once

/// Deletes the slave's devices. Failures are only logged.
void RemoveSlaveDevices(int zr_id);

/// Deletes everything else that the host keeps about the slave, including its action rules, and its devices again.
/// @return 0; -1 if a step failed whose failure counts
int RemoveSlaveRelations(int zr_id);
