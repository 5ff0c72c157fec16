#pragma once

namespace ky {

/// Takes over the reading end of a pipe that a background job still writes to, and discards what
/// comes until the job closes it. Without a reader the job's next line would kill it with SIGPIPE,
/// and a full pipe would stop it. One thread, started by the first call, serves all of them.
void drainUntilClosed(int fd);

} // namespace ky
