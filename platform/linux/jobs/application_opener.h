#pragma once

#include "platform/linux/jobs/job_description.h"

namespace pellam {

class BundleLoading;
class FileSystem;

// Starts an application bundle's main executable as a process of its own, which belongs to no job: neither
// the end of whoever opened it nor the removal of a job reaches it. For another user (which needs root) it
// runs with that user's identity and environment, in that user's service manager where there is one. Throws
// PlatformError; then nothing was started. Blocks until the program runs. Any thread.
void openApplication(const OpenRequest& request, const FileSystem& fileSystem, const BundleLoading& bundles);

}  // namespace pellam
