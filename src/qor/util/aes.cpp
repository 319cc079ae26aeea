#include "qor/util/aes.h"

#include <memory>

#include "base/size.h"
#include "qor/base/mlcheck.h"
#include "util/aes_forms.h"
#include "util/output.h"

namespace qor {

namespace {

// A copy of `content`, cut or padded with zeros to `size`. The destructor overwrites it.
class Padded {
public:
    Padded(istr content, unsigned long size) : bytes_(content, size, 0) {}
    Padded(const Padded&) = delete;
    Padded& operator=(const Padded&) = delete;
    ~Padded() { util::wipe(bytes_.buffer(), bytes_.max_size()); }
    const unsigned char* data() const noexcept { return bytes_.data(); }

private:
    Bytes bytes_;
};

}  // namespace

class AES::State : public util::Rijndael {
public:
    static State* make(istr key, unsigned long keySize, istr iv) {
        const Padded paddedKey(key, keySize), paddedIv(iv, util::aesBlockSize);
        auto* state = checkedNew<State>(__FILE__, __LINE__, "qor::AES::AES");
        state->set(paddedKey.data(), keySize, paddedIv.data());
        return state;
    }
};

AES::AES(istr key, istr iv) : state_(State::make(key, 16, iv)) {}

AES::AES(istr key, istr iv, bool) : state_(State::make(key, 32, iv)) {}

AES::~AES() {
    checkedDelete(state_, __FILE__, __LINE__, "qor::AES::~AES");
}

void AES::encrypt(istr data, Bytes& out) const {
    const util::ByteSpan source = util::bytesOf(data);
    const unsigned long long blocks =
        (0ULL + source.size() + util::aesBlockSize - 1) / util::aesBlockSize;
    const std::size_t size = checkedSize(blocks * util::aesBlockSize);
    util::replaceContent(out, source, size, [&](Bytes& target) {
        state_->encrypt(source.data(), source.size(), target.data());
        target.size(size);
    });
}

void AES::decrypt(istr data, Bytes& out) const {
    const util::ByteSpan source = util::bytesOf(data);
    const std::size_t size = source.size();
    if (size % util::aesBlockSize != 0) {
        // Deliberate (compatibility): `out` keeps its content. The added bytes are set to zero, so
        // that they do not show old memory.
        const std::size_t old = out.size();
        out.resize(size);
        if (size > old) MemSet(out.data() + old, 0, size - old);
        return out.size(size);
    }
    util::replaceContent(out, source, size, [&](Bytes& target) {
        state_->decrypt(source.data(), size, target.data());
        target.size(size);
    });
}

}  // namespace qor
