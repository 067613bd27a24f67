#include "common/crypto.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "common/hex.h"

namespace KORA::DistributedKv::Client {

namespace {

// OpenSSL must still serve when the stores are closed at the end of the process; it would put its own end
// before that, since it is used for the first time after the exit handler was registered.
[[maybe_unused]] const int kServesToTheEnd = OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);

constexpr int kWrappedSize = SecretKey::kSize + 8;

constexpr std::string_view kChecksumLine = "checksum=";

struct EndContext {
  void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, EndContext>;

CipherContext NewKeyWrap(const SecretKey& wrapping, bool wraps) {
  CipherContext context(EVP_CIPHER_CTX_new());
  if (context == nullptr) return nullptr;
  EVP_CIPHER_CTX_set_flags(context.get(), EVP_CIPHER_CTX_FLAG_WRAP_ALLOW);
  const int ready =
      EVP_CipherInit_ex(context.get(), EVP_aes_256_wrap(), nullptr, wrapping.Data(), nullptr, wraps ? 1 : 0);
  return ready == 1 ? std::move(context) : nullptr;
}

}  // namespace

SecretKey::~SecretKey() {
  OPENSSL_cleanse(bytes_.data(), bytes_.size());
}

bool DrawRandom(unsigned char* bytes, size_t size) {
  return RAND_bytes(bytes, static_cast<int>(size)) == 1;
}

bool WrapKey(const SecretKey& wrapping, const SecretKey& key, std::string& wrapped) {
  const CipherContext context = NewKeyWrap(wrapping, true);
  std::array<unsigned char, kWrappedSize> out{};
  int size = 0;
  const bool done = context != nullptr &&
                    EVP_CipherUpdate(context.get(), out.data(), &size, key.Data(), SecretKey::kSize) == 1 &&
                    size == kWrappedSize;
  wrapped.assign(out.begin(), out.end());
  return done;
}

bool UnwrapKey(const SecretKey& wrapping, std::string_view wrapped, SecretKey& key) {
  const CipherContext context = NewKeyWrap(wrapping, false);
  // OpenSSL may write as much as it was given.
  std::array<unsigned char, kWrappedSize> out{};
  int size = 0;
  const bool done =
      context != nullptr && wrapped.size() == kWrappedSize &&
      EVP_CipherUpdate(context.get(), out.data(), &size,
                       reinterpret_cast<const unsigned char*>(wrapped.data()), kWrappedSize) == 1 &&
      size == static_cast<int>(SecretKey::kSize);
  if (done) std::copy_n(out.begin(), SecretKey::kSize, key.Data());
  OPENSSL_cleanse(out.data(), out.size());
  return done;
}

std::string Sha256(std::string_view content) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned size = 0;
  if (EVP_Digest(content.data(), content.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1) return {};
  return ToHex({reinterpret_cast<const char*>(digest.data()), size});
}

std::string WithChecksum(const std::string& lines) {
  return lines + std::string(kChecksumLine) + Sha256(lines) + "\n";
}

bool StripChecksum(std::string_view text, std::string_view& lines) {
  const size_t start = text.rfind(kChecksumLine);
  if (start == std::string_view::npos) return false;
  lines = text.substr(0, start);
  return text == WithChecksum(std::string(lines));
}

void Wipe(std::string& text) {
  OPENSSL_cleanse(text.data(), text.size());
}

}  // namespace KORA::DistributedKv::Client
