#include "base/string_proxy.h"

namespace Tarsis {

CStringProxy::CStringProxy() : str_(new std::string) {}

CStringProxy::CStringProxy(const char* text) : str_(new std::string(text != nullptr ? text : "")) {}

CStringProxy::CStringProxy(const char* text, std::size_t length)
    : str_(text != nullptr ? new std::string(text, length) : new std::string) {}

CStringProxy::CStringProxy(const CStringProxy& other) : str_(new std::string(*other.str_)) {}

CStringProxy& CStringProxy::operator=(const CStringProxy& other) {
    *str_ = *other.str_;
    return *this;
}

CStringProxy::~CStringProxy() { delete str_; }

const char* CStringProxy::c_str() const { return str_->c_str(); }

std::size_t CStringProxy::length() const { return str_->size(); }

CWStringProxy::CWStringProxy() : str_(new std::wstring) {}

CWStringProxy::CWStringProxy(const wchar_t* text) : str_(new std::wstring(text != nullptr ? text : L"")) {}

CWStringProxy::CWStringProxy(const wchar_t* text, std::size_t length)
    : str_(text != nullptr ? new std::wstring(text, length) : new std::wstring) {}

CWStringProxy::CWStringProxy(const CWStringProxy& other) : str_(new std::wstring(*other.str_)) {}

CWStringProxy& CWStringProxy::operator=(const CWStringProxy& other) {
    *str_ = *other.str_;
    return *this;
}

CWStringProxy::~CWStringProxy() { delete str_; }

const wchar_t* CWStringProxy::c_str() const { return str_->c_str(); }

std::size_t CWStringProxy::length() const { return str_->size(); }

}  // namespace Tarsis
