// What the client takes from OpenSSL's libcrypto, but for the cipher of the engine's files.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace KORA::DistributedKv::Client {

// A key of AES-256; wiped when it ends.
class SecretKey {
 public:
  static constexpr size_t kSize = 32;  // bytes

  SecretKey() = default;
  SecretKey(const SecretKey&) = default;
  SecretKey& operator=(const SecretKey&) = default;
  ~SecretKey();

  unsigned char* Data() { return bytes_.data(); }
  const unsigned char* Data() const { return bytes_.data(); }

 private:
  std::array<unsigned char, kSize> bytes_{};
};

// Each answers whether it succeeded.
bool DrawRandom(unsigned char* bytes, size_t size);
// Text for a key by another key, as RFC 3394 wraps it; 40 bytes.
bool WrapKey(const SecretKey& wrapping, const SecretKey& key, std::string& wrapped);
// Fails also for another wrapping key than that which wrapped.
bool UnwrapKey(const SecretKey& wrapping, std::string_view wrapped, SecretKey& key);

// SHA-256 (FIPS 180-4) as text of 64 hexadecimal digits; empty on failure, which no content has.
std::string Sha256(std::string_view content);

// Texts of lines whose last is "checksum=" and the digest of those before.
std::string WithChecksum(const std::string& lines);
// False: the checksum is missing or another one. `lines` is a part of `text`.
bool StripChecksum(std::string_view text, std::string_view& lines);

// Wipes a text that held a secret.
void Wipe(std::string& text);

}  // namespace KORA::DistributedKv::Client
