#include "nimbole/certificate_store.h"

#include <cstring>
#include <cwchar>
#include <utility>

#include "base/exceptions.h"

namespace halden::nimbole {
namespace {

constexpr wchar_t kUserPrefix[] = L"user.";
constexpr wchar_t kSystemPrefix[] = L"system.";

bool has_prefix(const wchar_t* name, const wchar_t* prefix) {
    return std::wcsncmp(name, prefix, std::wcslen(prefix)) == 0;
}

// Names compare by wcscmp; an absent name sorts before every present one.
int compare_names(const wchar_t* a, const wchar_t* b) {
    if (a == nullptr || b == nullptr) return (a != nullptr) - (b != nullptr);
    return std::wcscmp(a, b);
}

}  // namespace

CertificateStore::CertificateStore(const CertificateStore& other) { Set(other.name(), other.is_system_); }

CertificateStore& CertificateStore::operator=(const CertificateStore& other) {
    if (this != &other) Set(other.name(), other.is_system_);
    return *this;
}

void CertificateStore::Set(const wchar_t* name, bool is_system) {
    std::unique_ptr<wchar_t, FreeName> copy;
    if (name != nullptr) {
        const std::size_t bytes = (std::wcslen(name) + 1) * sizeof(wchar_t);
        copy.reset(static_cast<wchar_t*>(std::malloc(bytes)));
        if (!copy) throw CAException("out of memory", __FILE__, __LINE__);
        std::memcpy(copy.get(), name, bytes);
    }
    name_ = std::move(copy);
    is_system_ = is_system;
}

void CertificateStore::Set(const wchar_t* name) {
    if (name != nullptr && has_prefix(name, kUserPrefix)) {
        Set(name + std::wcslen(kUserPrefix), false);
    } else if (name != nullptr && has_prefix(name, kSystemPrefix)) {
        Set(name + std::wcslen(kSystemPrefix), true);
    } else {
        throw CAException("Store should be EITHER user or system", __FILE__, __LINE__);
    }
}

bool operator==(const CertificateStore& a, const CertificateStore& b) {
    return a.is_system_ == b.is_system_ && compare_names(a.name(), b.name()) == 0;
}

bool operator<(const CertificateStore& a, const CertificateStore& b) {
    if (a.is_system_ != b.is_system_) return !a.is_system_;
    return compare_names(a.name(), b.name()) < 0;
}

}  // namespace halden::nimbole
