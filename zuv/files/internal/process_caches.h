// Test-only resets of the answers that the file code remembers for the life of the process, so that
// a test can start from none without a process of its own.
#pragma once

namespace zuv::files_internal {

/// Forgets every remembered drive type: the next handle on each volume classifies it anew.
void ForgetDriveTypes();
/// Forgets the process's group list: the next permission check reads it anew.
void ForgetGroups();

}  // namespace zuv::files_internal
