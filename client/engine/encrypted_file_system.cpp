#include "engine/encrypted_file_system.h"

#include <openssl/evp.h>
#include <rocksdb/env_encryption.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/big_endian.h"
#include "common/hex.h"

namespace KORA::DistributedKv::Client {

namespace {

constexpr std::string_view kMagic = "KORAENC1";
constexpr size_t kBlockSize = 16;
constexpr size_t kNonceSize = kBlockSize;
constexpr size_t kNonceEnd = kMagic.size() + kNonceSize;
constexpr size_t kDigestSize = 8;
constexpr size_t kHeaderSize = kNonceEnd + kDigestSize;

using Nonce = std::array<unsigned char, kNonceSize>;

// The counter of the file's block `index`.
Nonce CounterAt(Nonce counter, uint64_t index) {
  uint64_t carry = 0;
  for (size_t i = kNonceSize; i-- > 0;) {
    const uint64_t sum = counter[i] + (index & 0xff) + carry;
    counter[i] = static_cast<unsigned char>(sum);
    carry = sum >> kByteBits;
    index >>= kByteBits;
  }
  return counter;
}

struct EndContext {
  void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};

// Contexts are dear and belong to one thread at a time; the key is set anew with each use.
EVP_CIPHER_CTX* ContextOfThread() {
  thread_local const std::unique_ptr<EVP_CIPHER_CTX, EndContext> context(EVP_CIPHER_CTX_new());
  return context.get();
}

const EVP_CIPHER* CounterMode() {
  static const EVP_CIPHER* const cipher = EVP_CIPHER_fetch(nullptr, "AES-256-CTR", nullptr);
  return cipher;
}

class CounterStream : public rocksdb::BlockAccessCipherStream {
 public:
  // No nonce: the file is cut off in its header and has no content; nor can it be given any, for two files
  // with one nonce give each other away.
  CounterStream(const SecretKey& key, const std::optional<Nonce>& nonce) : key_(key), nonce_(nonce) {}

  size_t BlockSize() override { return kBlockSize; }

  rocksdb::Status Encrypt(uint64_t offset, char* data, size_t size) override {
    return Apply(offset, data, size);
  }
  rocksdb::Status Decrypt(uint64_t offset, char* data, size_t size) override {
    return Apply(offset, data, size);
  }

 protected:
  // Whole ranges are enciphered at once, so these are never reached.
  void AllocateScratch(std::string& /*scratch*/) override {}
  rocksdb::Status EncryptBlock(uint64_t /*index*/, char* /*data*/, char* /*scratch*/) override {
    return rocksdb::Status::NotSupported();
  }
  rocksdb::Status DecryptBlock(uint64_t /*index*/, char* /*data*/, char* /*scratch*/) override {
    return rocksdb::Status::NotSupported();
  }

 private:
  // Counter mode is its own inverse.
  rocksdb::Status Apply(uint64_t offset, char* data, size_t size) const {
    if (size == 0) return rocksdb::Status::OK();
    if (!nonce_) return rocksdb::Status::Corruption("the header of the encryption is cut off");
    EVP_CIPHER_CTX* const context = ContextOfThread();
    const Nonce counter = CounterAt(*nonce_, offset / kBlockSize);
    bool done = context != nullptr &&
                EVP_EncryptInit_ex(context, CounterMode(), nullptr, key_.Data(), counter.data()) == 1 &&
                Skip(context, offset % kBlockSize);
    auto* next = reinterpret_cast<unsigned char*>(data);
    constexpr size_t kMaxStep = size_t{1} << 30;  // OpenSSL counts in int
    while (done && size > 0) {
      const size_t step = std::min(size, kMaxStep);
      int written = 0;
      done = EVP_EncryptUpdate(context, next, &written, next, static_cast<int>(step)) == 1;
      next += step;
      size -= step;
    }
    return done ? rocksdb::Status::OK() : rocksdb::Status::IOError("AES-256-CTR failed");
  }

  static bool Skip(EVP_CIPHER_CTX* context, size_t size) {
    std::array<unsigned char, kBlockSize> ignored{};
    int written = 0;
    return size == 0 ||
           EVP_EncryptUpdate(context, ignored.data(), &written, ignored.data(), static_cast<int>(size)) == 1;
  }

  const SecretKey key_;
  const std::optional<Nonce> nonce_;
};

std::string DigestOf(std::string_view header) {
  std::string digest;
  FromHex(Sha256(header.substr(0, kNonceEnd)).substr(0, 2 * kDigestSize), digest);
  return digest;
}

class CounterProvider : public rocksdb::EncryptionProvider {
 public:
  explicit CounterProvider(const SecretKey& key) : key_(key) {}

  const char* Name() const override { return "KoraCounterProvider"; }
  size_t GetPrefixLength() const override { return kHeaderSize; }

  rocksdb::Status CreateNewPrefix(const std::string& /*file*/, char* header, size_t size) const override {
    if (size != kHeaderSize) return rocksdb::Status::InvalidArgument("header size");
    std::copy(kMagic.begin(), kMagic.end(), header);
    if (!DrawRandom(reinterpret_cast<unsigned char*>(header) + kMagic.size(), kNonceSize)) {
      return rocksdb::Status::IOError("no random bytes");
    }
    const std::string digest = DigestOf({header, size});
    std::copy(digest.begin(), digest.end(), header + kNonceEnd);
    return rocksdb::Status::OK();
  }

  rocksdb::Status AddCipher(const std::string& /*descriptor*/, const char* /*cipher*/, size_t /*size*/,
                            bool /*forWrite*/) override {
    return rocksdb::Status::NotSupported("a store has one key");
  }

  rocksdb::Status CreateCipherStream(const std::string& file, const rocksdb::EnvOptions& /*options*/,
                                     rocksdb::Slice& prefix,
                                     std::unique_ptr<rocksdb::BlockAccessCipherStream>* stream) override {
    std::optional<Nonce> nonce;
    const std::string_view header(prefix.data(), std::min(prefix.size(), kHeaderSize));
    if (header.size() == kHeaderSize) {
      if (header.substr(0, kMagic.size()) != kMagic || header.substr(kNonceEnd) != DigestOf(header)) {
        return rocksdb::Status::Corruption(file, "the header of the encryption is damaged");
      }
      std::copy_n(header.begin() + kMagic.size(), kNonceSize, nonce.emplace().begin());
    }
    *stream = std::make_unique<CounterStream>(key_, nonce);
    return rocksdb::Status::OK();
  }

 private:
  const SecretKey key_;
};

// RocksDB's own encrypting file system, but for sizes: it takes the header off those of shorter files too,
// and ends the process.
class EncryptedFileSystem : public rocksdb::FileSystemWrapper {
 public:
  EncryptedFileSystem(const std::shared_ptr<rocksdb::FileSystem>& encrypting,
                      std::shared_ptr<rocksdb::FileSystem> raw)
      : FileSystemWrapper(encrypting), raw_(std::move(raw)) {}

  const char* Name() const override { return "KoraEncryptedFileSystem"; }

  rocksdb::IOStatus GetFileSize(const std::string& file, const rocksdb::IOOptions& options, uint64_t* size,
                                rocksdb::IODebugContext* debug) override {
    rocksdb::IOStatus status = raw_->GetFileSize(file, options, size, debug);
    if (status.ok()) *size = ContentSize(*size);
    return status;
  }

  rocksdb::IOStatus GetChildrenFileAttributes(const std::string& folder, const rocksdb::IOOptions& options,
                                              std::vector<rocksdb::FileAttributes>* files,
                                              rocksdb::IODebugContext* debug) override {
    rocksdb::IOStatus status = raw_->GetChildrenFileAttributes(folder, options, files, debug);
    for (rocksdb::FileAttributes& file : *files) file.size_bytes = ContentSize(file.size_bytes);
    return status;
  }

 private:
  static uint64_t ContentSize(uint64_t size) { return size - std::min<uint64_t>(size, kHeaderSize); }

  const std::shared_ptr<rocksdb::FileSystem> raw_;
};

}  // namespace

std::shared_ptr<rocksdb::FileSystem> NewEncryptedFileSystem(
    const std::shared_ptr<rocksdb::FileSystem>& target, const SecretKey& key) {
  return std::make_shared<EncryptedFileSystem>(
      rocksdb::NewEncryptedFS(target, std::make_shared<CounterProvider>(key)), target);
}

}  // namespace KORA::DistributedKv::Client
