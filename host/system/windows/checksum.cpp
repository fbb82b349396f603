#include "host/system/checksum.h"

#include <windows.h>

#include <bcrypt.h>

#include <array>
#include <stdexcept>

namespace host::system {

struct Md5::State {
    BCRYPT_ALG_HANDLE algorithm = nullptr;
    BCRYPT_HASH_HANDLE hash = nullptr;

    ~State() {
        if (hash != nullptr) BCryptDestroyHash(hash);
        if (algorithm != nullptr) BCryptCloseAlgorithmProvider(algorithm, 0);
    }
};

Md5::Md5() : state_(std::make_unique<State>()) {
    if (BCryptOpenAlgorithmProvider(&state_->algorithm, BCRYPT_MD5_ALGORITHM, nullptr, 0) != 0 ||
        BCryptCreateHash(state_->algorithm, &state_->hash, nullptr, 0, nullptr, 0, 0) != 0) {
        throw std::runtime_error("the system computes no checksums");
    }
}

Md5::~Md5() = default;

void Md5::Add(std::span<const std::byte> bytes) {
    auto* const data = const_cast<UCHAR*>(reinterpret_cast<const UCHAR*>(bytes.data()));
    BCryptHashData(state_->hash, data, static_cast<ULONG>(bytes.size()), 0);
}

std::string Md5::Text() {
    constexpr const char* kHex = "0123456789abcdef";
    std::array<UCHAR, 16> digest{};
    BCryptFinishHash(state_->hash, digest.data(), static_cast<ULONG>(digest.size()), 0);
    std::string text;
    for (const UCHAR byte : digest) {
        text += kHex[byte >> 4];
        text += kHex[byte & 15];
    }
    return text;
}

}  // namespace host::system
