// Devices with replicas in memory.
#include "sim_replica.h"
#include "simulate.h"

int main(int argc, char** argv) {
  namespace Sync = KORA::DistributedKv::Client::Sync;
  return Sync::Simulate(argc, argv, [](const std::string& device, Sync::WallClock clock) {
    return std::make_unique<Sync::SimReplica>(device, std::move(clock));
  });
}
