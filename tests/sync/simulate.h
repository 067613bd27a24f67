// Runs simulations: PROGRAM [--seeds N] [--first S]
#pragma once

#include "device_replica.h"

namespace KORA::DistributedKv::Client::Sync {

// What main is to answer. Seeds that fail are printed with what happened last.
int Simulate(int argc, char** argv, const MakeReplica& makeReplica);

}  // namespace KORA::DistributedKv::Client::Sync
