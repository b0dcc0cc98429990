#include "base/acmpt_blob.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <utility>

#include "base/an_fopen.h"
#include "base/exceptions.h"
#include "base/hex.h"

namespace {

constexpr std::uint64_t kFirstCapacity = 4096;
constexpr std::uint64_t kExactAbove = 0x80000000u;

void copy_bytes(BYTE* to, const BYTE* from, std::size_t size) {
    if (size != 0) {
        std::memcpy(to, from, size);
    }
}

[[noreturn]] void throw_encode_failed() { throw CAException("base64_encode failed", __FILE__, __LINE__); }

[[noreturn]] void throw_decode_failed() { throw CAException("invalid base 64 format", __FILE__, __LINE__); }

// The encoders refuse a null data pointer, which an empty blob has.
const BYTE* data_or_empty(const BYTE* data) {
    static const BYTE kEmpty = 0;
    return data != nullptr ? data : &kEmpty;
}

class FileGuard {
public:
    explicit FileGuard(std::FILE* file) : file_(file) {}
    FileGuard(const FileGuard&) = delete;
    FileGuard& operator=(const FileGuard&) = delete;
    ~FileGuard() {
        if (file_ != nullptr) {
            std::fclose(file_);
        }
    }
    std::FILE* get() const { return file_; }
    // Closes now and tells whether everything buffered reached the file.
    bool close() {
        std::FILE* file = file_;
        file_ = nullptr;
        return std::fclose(file) == 0;
    }

private:
    std::FILE* file_;
};

}  // namespace

CACMPT_BLOB::CACMPT_BLOB() : cbData(0), pbData(nullptr), capacity_(0) {}

CACMPT_BLOB::CACMPT_BLOB(const BYTE* data, DWORD size) : CACMPT_BLOB() {
    resize_to(size);
    copy_bytes(pbData, data, size);
}

CACMPT_BLOB::CACMPT_BLOB(const CACMPT_BLOB& other) : CACMPT_BLOB(other.pbData, other.cbData) {}

CACMPT_BLOB::CACMPT_BLOB(CACMPT_BLOB&& other) noexcept : CACMPT_BLOB() { swap(other); }

CACMPT_BLOB& CACMPT_BLOB::operator=(const CACMPT_BLOB& other) {
    if (this != &other) {
        resize_to(other.cbData);
        copy_bytes(pbData, other.pbData, other.cbData);
    }
    return *this;
}

CACMPT_BLOB& CACMPT_BLOB::operator=(CACMPT_BLOB&& other) noexcept {
    CACMPT_BLOB taken(std::move(other));
    swap(taken);
    return *this;
}

CACMPT_BLOB::~CACMPT_BLOB() { delete[] pbData; }

void CACMPT_BLOB::resize_to(DWORD size) {
    if (size > capacity_) {
        std::uint64_t capacity = capacity_ != 0 ? capacity_ : kFirstCapacity;
        while (size > capacity) {
            if (size > kExactAbove) {
                capacity = size;
                break;
            }
            capacity *= 2;
        }
        BYTE* fresh = new BYTE[capacity];
        delete[] pbData;
        pbData = fresh;
        capacity_ = static_cast<DWORD>(capacity);
    }
    cbData = size;
}

void CACMPT_BLOB::swap(CACMPT_BLOB& other) noexcept {
    std::swap(cbData, other.cbData);
    std::swap(pbData, other.pbData);
    std::swap(capacity_, other.capacity_);
}

void CACMPT_BLOB::readFromFile(const char* path) {
    auto fail = [this, path]() {
        cbData = 0;
        const std::string text = std::string("couldn't open file ") + (path != nullptr ? path : "");
        throw Asn1Exception(text.c_str(), __FILE__, __LINE__);
    };
    FileGuard file(path != nullptr ? host_an_fopen(path, "rb") : nullptr);
    if (file.get() == nullptr || std::fseek(file.get(), 0, SEEK_END) != 0) {
        fail();
    }
    const long size = std::ftell(file.get());
    if (size < 0 || static_cast<unsigned long>(size) > UINT32_MAX || std::fseek(file.get(), 0, SEEK_SET) != 0) {
        fail();
    }
    resize_to(static_cast<DWORD>(size));
    if (size != 0 && std::fread(pbData, 1, cbData, file.get()) != cbData) {
        fail();
    }
}

void CACMPT_BLOB::writeToFile(const char* path) {
    if (cbData == 0) {
        return;
    }
    auto fail = [this, path]() {
        cbData = 0;
        const std::string text = std::string("couldn't open file ") + (path != nullptr ? path : "");
        throw Asn1Exception(text.c_str(), __FILE__, __LINE__);
    };
    FileGuard file(path != nullptr ? host_an_fopen(path, "wb") : nullptr);
    if (file.get() == nullptr) {
        fail();
    }
    const bool written = std::fwrite(pbData, 1, cbData, file.get()) == cbData;
    if (!file.close() || !written) {
        fail();
    }
}

void CACMPT_BLOB::readFromHexString(const char* text) {
    readFromHexString(text, text != nullptr ? std::strlen(text) : 0);
}

void CACMPT_BLOB::readFromHexString(const char* text, std::size_t length) {
    if (text == nullptr) {
        length = 0;
    }
    resize_to(static_cast<DWORD>(length / 2 + 1));
    resize_to(static_cast<DWORD>(halden::detail::hex_decode(text, length, pbData)));
}

std::string CACMPT_BLOB::writeToHexString() const { return halden::detail::hex_encode(pbData, cbData, 0); }

CACMPT_BLOB CACMPT_BLOB::toBase64(DWORD flags) const {
    const BYTE* data = data_or_empty(pbData);
    DWORD size = 0;
    if (!base64_encode_ex(data, cbData, nullptr, &size, flags)) {
        throw_encode_failed();
    }
    CACMPT_BLOB text;
    text.resize_to(size);
    if (size != 0 && !base64_encode_ex(data, cbData, reinterpret_cast<char*>(text.pbData), &size, flags)) {
        throw_encode_failed();
    }
    return text;
}

CACMPT_BLOB CACMPT_BLOB::fromBase64(DWORD flags) const {
    const char* text = reinterpret_cast<const char*>(pbData);
    DWORD size = 0;
    if (!base64_decode_ex(text, cbData, nullptr, &size, flags)) {
        throw_decode_failed();
    }
    // Text that holds no Base64 at all is no valid encoding of anything.
    if (size == 0 && cbData != 0) {
        throw_decode_failed();
    }
    CACMPT_BLOB data;
    data.resize_to(size);
    if (size != 0) {
        if (!base64_decode_ex(text, cbData, data.pbData, &size, flags)) {
            throw_decode_failed();
        }
        data.cbData = size;
    }
    return data;
}

CACMPT_BLOB CACMPT_BLOB::toBase64Hdr(const char* header, const char* footer) const {
    const Base64Hdrs record = {sizeof(Base64Hdrs), header, footer};
    const BYTE* data = data_or_empty(pbData);
    DWORD size = 0;
    if (!base64hdr_encode(&record, data, cbData, nullptr, &size)) {
        throw_encode_failed();
    }
    CACMPT_BLOB text;
    text.resize_to(size);
    if (!base64hdr_encode(&record, data, cbData, reinterpret_cast<char*>(text.pbData), &size)) {
        throw_encode_failed();
    }
    return text;
}

CACMPT_BLOB CACMPT_BLOB::fromBase64Hdr(DWORD flags) const {
    const char* text = reinterpret_cast<const char*>(pbData);
    DWORD size = 0;
    if (!base64hdr_decode_ex(text, cbData, nullptr, &size, flags)) {
        throw_decode_failed();
    }
    CACMPT_BLOB data;
    data.resize_to(size);
    if (size != 0) {
        if (!base64hdr_decode_ex(text, cbData, data.pbData, &size, flags)) {
            throw_decode_failed();
        }
        data.cbData = size;
    }
    return data;
}

void CACMPT_BigInteger::increment(int lowest) {
    for (std::int64_t i = static_cast<std::int64_t>(cbData) - 1; i >= 0; --i) {
        if (pbData[i] != 0xff) {
            ++pbData[i];
            return;
        }
        pbData[i] = 0;
        if (i - 1 < lowest) {
            return;
        }
    }
}

CACMPT_BigInteger& CACMPT_BigInteger::operator++() {
    increment(0);
    return *this;
}

CACMPT_BigInteger CACMPT_BigInteger::operator++(int) {
    CACMPT_BigInteger old(*this);
    increment(0);
    return old;
}
