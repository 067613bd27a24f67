// The orderly end of the client at the end of the process.
#pragma once

namespace KORA::DistributedKv::Client {

// Has exit() close all stores and end the callbacks. To be called when a store has been opened: by then all
// that the engine keeps for the process exists, so it is still there when the stores are closed.
void CloseStoresAtExit();

// Whether this process is the copy, by fork, of one that has stores open. It has none of the engine's threads
// and must not touch the files.
bool InForkedChild();

}  // namespace KORA::DistributedKv::Client
