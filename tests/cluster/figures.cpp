// cluster_figures: how long a change takes from one device to another over a hub on loopback, and how many a
// second cross in bulk. Nothing passes or fails.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

#include "device_process.h"
#include "server.h"

using KORA::DistributedKv::Client::Cluster::DeviceProcess;
using KORA::DistributedKv::Client::Etcd::Servers;
using KORA::DistributedKv::Client::Etcd::TemporaryFolder;
using Milliseconds = std::chrono::duration<double, std::milli>;

namespace {

template <typename Function>
double Measure(const Function& function) {
  const auto start = std::chrono::steady_clock::now();
  function();
  return Milliseconds(std::chrono::steady_clock::now() - start).count();
}

void Print(const char* what, std::vector<double> times) {
  std::sort(times.begin(), times.end());
  std::printf("%s: median %.2f ms, 99 %% %.2f ms\n", what, times[times.size() / 2],
              times[times.size() * 99 / 100]);
}

void MeasureOneByOne(DeviceProcess& one, DeviceProcess& two) {
  one.Ask("open auto 0");
  two.Ask("open auto 0");
  two.Ask("observe 2");
  one.Ask("put first v");
  two.Hear("change ");
  std::vector<double> puts;
  std::vector<double> crossings;
  for (int i = 0; i < 1000; ++i) {
    const std::string put = "put " + std::to_string(i) + " v";
    puts.push_back(Measure([&] { one.Ask(put); }));
    crossings.push_back(puts.back() + Measure([&] { two.Hear("change "); }));
  }
  Print("put, as the device is told to", puts);
  Print("from there to the observer on the other device", crossings);
}

void MeasureBulk(DeviceProcess& one, DeviceProcess& two) {
  constexpr int kRecords = 50'000;
  one.Ask("open manual 0");
  two.Ask("open manual 0");
  const auto sync = [](DeviceProcess& device, const std::string& other, int mode) {
    device.Ask("sync " + std::to_string(mode) + " 0 " + other);
    return device.Hear("synced ", std::chrono::minutes(10));
  };
  one.Ask("devices 0");
  sync(one, two.Id(), 2);
  sync(two, one.Id(), 2);
  one.Ask("fill " + std::to_string(kRecords));
  const double push = Measure([&] { sync(one, two.Id(), 1); });
  const double pull = Measure([&] { sync(two, one.Id(), 0); });
  std::printf("%d records of 100 bytes: pushed %.0f a second, pulled %.0f a second\n", kRecords,
              1000 * kRecords / push, 1000 * kRecords / pull);
}

}  // namespace

int main() {
  const Servers servers;
  const TemporaryFolder folder;
  DeviceProcess::Settings settings{{"cluster.endpoints", servers.Endpoints()[0]}};
  DeviceProcess one("one", folder.Path(), settings);
  DeviceProcess two("two", folder.Path(), settings);
  MeasureOneByOne(one, two);
  settings["cluster.namespace"] = "bulk";
  DeviceProcess three("three", folder.Path(), settings);
  DeviceProcess four("four", folder.Path(), settings);
  MeasureBulk(three, four);
  return 0;
}
