#include "base/blob.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <maren/errors.h>

#include "base/atl.h"
#include "base/hex.h"
#include "base/wide_path.h"

namespace Tarsis {

namespace {

constexpr HRESULT kFileCorrupt = HRESULT_FROM_WIN32(ERROR_FILE_CORRUPT);

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

// memcpy and memcmp must not see a null pointer, even for zero bytes.
void copy_bytes(unsigned char* to, const unsigned char* from, std::size_t size) {
    if (size != 0) {
        std::memcpy(to, from, size);
    }
}

}  // namespace

CBlob::CBlob() : cbData_(0), pbData_(nullptr) {}

CBlob::CBlob(std::size_t size) : cbData_(size), pbData_(new unsigned char[size]()) {}

CBlob::CBlob(const unsigned char* bytes, std::size_t size) : CBlob() { assign(bytes, size); }

CBlob::CBlob(const CBlob& other) : CBlob() { assign(other.pbData_, other.cbData_); }

CBlob::CBlob(CBlob&& other) noexcept : CBlob() { swap(other); }

CBlob& CBlob::operator=(const CBlob& other) {
    assign(other.pbData_, other.cbData_);
    return *this;
}

CBlob& CBlob::operator=(CBlob&& other) noexcept {
    CBlob taken(std::move(other));
    swap(taken);
    return *this;
}

CBlob::~CBlob() { delete[] pbData_; }

void CBlob::resize_to(std::size_t size) {
    if (size > cbData_) {
        // The true size of the allocation is not kept, so any growth beyond
        // the valid length reallocates.
        auto* fresh = new unsigned char[size];
        copy_bytes(fresh, pbData_, cbData_);
        delete[] pbData_;
        pbData_ = fresh;
    }
    cbData_ = size;
}

void CBlob::assign(const unsigned char* bytes, std::size_t size) {
    // Copy before freeing: bytes may point into this blob.
    unsigned char* fresh = nullptr;
    if (size != 0) {
        fresh = new unsigned char[size];
        copy_bytes(fresh, bytes, size);
    }
    delete[] pbData_;
    pbData_ = fresh;
    cbData_ = size;
}

void CBlob::swap(CBlob& other) noexcept {
    std::swap(cbData_, other.cbData_);
    std::swap(pbData_, other.pbData_);
}

void CBlob::reverse() {
    if (cbData_ > 1) {
        std::reverse(pbData_, pbData_ + cbData_);
    }
}

CBlob& CBlob::operator+=(const CBlob& other) {
    const std::size_t old_size = cbData_;
    const std::size_t added = other.cbData_;
    resize_to(old_size + added);
    // When other is this blob, its bytes are the first old_size bytes of the
    // new array, which resize_to kept.
    copy_bytes(pbData_ + old_size, other.pbData_, added);
    return *this;
}

void CBlob::readFromFile(const char* path) {
    FilePtr file(path != nullptr ? std::fopen(path, "rb") : nullptr);
    if (!file) {
        ATL::AtlThrowImpl(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    }
    // Read in chunks rather than by the file's reported size, so that pipes
    // and files that change size read correctly.
    constexpr std::size_t kChunk = 64 * 1024;
    std::vector<unsigned char> data;
    std::size_t used = 0;
    for (;;) {
        data.resize(used + kChunk);
        const std::size_t got = std::fread(data.data() + used, 1, kChunk, file.get());
        used += got;
        if (got < kChunk) {
            break;
        }
    }
    if (std::ferror(file.get()) != 0) {
        clear();
        ATL::AtlThrowImpl(kFileCorrupt);
    }
    assign(data.data(), used);
}

void CBlob::readFromFile(const wchar_t* path) { readFromFile(halden::detail::narrow_path(path).c_str()); }

void CBlob::writeToFile(const char* path) const {
    FilePtr file(path != nullptr ? std::fopen(path, "wb") : nullptr);
    if (!file) {
        ATL::AtlThrowImpl(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    }
    const bool written = cbData_ == 0 || std::fwrite(pbData_, 1, cbData_, file.get()) == cbData_;
    const bool closed = std::fclose(file.release()) == 0;
    if (!written || !closed) {
        ATL::AtlThrowImpl(HRESULT_FROM_WIN32(ERROR_WRITE_FAULT));
    }
}

void CBlob::writeToFile(const wchar_t* path) const { writeToFile(halden::detail::narrow_path(path).c_str()); }

void CBlob::readFromHexString(const char* text) {
    const std::size_t length = text != nullptr ? std::strlen(text) : 0;
    resize_to(length / 2 + 1);
    resize_to(halden::detail::hex_decode(text, length, pbData_));
}

CStringProxy CBlob::writeToHexString(unsigned int group) const {
    const std::string text = halden::detail::hex_encode(pbData_, cbData_, group);
    return CStringProxy(text.c_str(), text.size());
}

int compare(const CBlob& a, const CBlob& b) {
    const std::size_t common = std::min(a.cbData(), b.cbData());
    if (common != 0) {
        const int order = std::memcmp(a.pbData(), b.pbData(), common);
        if (order != 0) {
            return order;
        }
    }
    // The length difference as a signed 32-bit value: blobs are far below
    // 2 GiB wherever two are compared.
    return static_cast<int32_t>(static_cast<uint32_t>(a.cbData() - b.cbData()));
}

bool operator==(const CBlob& a, const CBlob& b) {
    return a.cbData() == b.cbData() && (a.cbData() == 0 || std::memcmp(a.pbData(), b.pbData(), a.cbData()) == 0);
}

bool operator!=(const CBlob& a, const CBlob& b) { return !(a == b); }
bool operator<(const CBlob& a, const CBlob& b) { return compare(a, b) < 0; }
bool operator<=(const CBlob& a, const CBlob& b) { return compare(a, b) <= 0; }
bool operator>(const CBlob& a, const CBlob& b) { return compare(a, b) > 0; }
bool operator>=(const CBlob& a, const CBlob& b) { return compare(a, b) >= 0; }

}  // namespace Tarsis
