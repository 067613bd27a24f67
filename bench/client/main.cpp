// client_figures operations|queries|result-sets [RECORDS [encrypted]]: figures of one thread through the
// contract.
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "client/figures.h"

namespace Figures {

void Check(kv::Status status) {
  if (status == kv::Status::SUCCESS) return;
  std::fprintf(stderr, "failed: %d\n", static_cast<int>(status));
  std::exit(1);  // NOLINT(concurrency-mt-unsafe): nobody else ends the process
}

std::unique_ptr<kv::SingleKvStore> Open(const std::string& storeId, kv::Options options) {
  options.createIfMissing = true;
  std::unique_ptr<kv::SingleKvStore> opened;
  kv::DistributedKvDataManager().GetSingleKvStore(
      options, {"figures"}, {storeId}, [&](kv::Status status, std::unique_ptr<kv::SingleKvStore> store) {
        Check(status);
        opened = std::move(store);
      });
  return opened;
}

kv::Key KeyOf(int number) {
  char text[32];
  std::snprintf(text, sizeof text, "key:%016d", number);
  return kv::Blob(text);
}

}  // namespace Figures

int main(int argc, char** argv) {
  const std::string what = argc > 1 ? argv[1] : "";
  const int records = argc > 2 ? std::atoi(argv[2]) : 100'000;
  std::string home = (std::filesystem::temp_directory_path() / "kora-figures-XXXXXX").string();
  setenv("KORA_DATA_HOME", mkdtemp(home.data()), 1);  // NOLINT(concurrency-mt-unsafe): no other thread yet
  if (what == "operations") {
    Figures::PrintOperations(records, argc > 3);
  } else if (what == "queries") {
    Figures::PrintQueries(records);
  } else if (what == "result-sets") {
    Figures::PrintResultSets(records);
  } else {
    std::fprintf(stderr, "usage: client_figures operations|queries|result-sets [RECORDS [encrypted]]\n");
  }
  std::filesystem::remove_all(home);
}
