// Thread set-up for the library's own threads on Linux.
#pragma once

namespace rqb {

// Names the calling thread (at most 15 characters show) and lowers its
// scheduling priority to the lowest nice level, so that the library's
// background work yields to the host.
void BecomeBackgroundThread(const char* name);

// Names the calling thread and blocks SIGPIPE in it, so that a peer closing a
// connection never raises a signal in the host.
void BecomeNetworkThread(const char* name);

}  // namespace rqb
