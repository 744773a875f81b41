/// Removal of everything analytic that the host holds of one slave.
#pragma once

namespace qv::analytics {

/// Each deletes the slave's rows of one kind. @return 0 on success, -1 after one log line
int CountingTaskGroupDelByZrId(int zr_id);
int CountingWidgetDelByZrId(int zr_id);
int IvaTaskDelByZrId(int zr_id);
int FaceTaskDelByZrId(int zr_id);

}  // namespace qv::analytics
