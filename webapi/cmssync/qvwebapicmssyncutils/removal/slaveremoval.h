/// Removal of everything that the host keeps for a slave.
#pragma once

/// Deletes the slave's devices. Failures are logged and hidden from the caller.
void RemoveSlaveDevices(int zrId);

/// Deletes what else the host keeps about the slave, its action rules included, and once more its devices.
/// @return 0, or -1 when a step failed that counts for the caller; the others were run nevertheless
int RemoveSlaveRelations(int zrId);
