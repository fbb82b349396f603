#include "host/system/checksum.h"

#include <md5.h>

#include <array>

namespace host::system {

struct Md5::State {
    MD5_CTX context;
};

Md5::Md5() : state_(std::make_unique<State>()) {
    MD5Init(&state_->context);
}

Md5::~Md5() = default;

void Md5::Add(std::span<const std::byte> bytes) {
    MD5Update(&state_->context, reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

std::string Md5::Text() {
    std::array<char, MD5_DIGEST_STRING_LENGTH> text{};
    return MD5End(&state_->context, text.data());
}

}  // namespace host::system
