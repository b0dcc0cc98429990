// String values for public signatures. Each holds one owned pointer to a
// standard string, so the layout of a class that returns or keeps one does
// not depend on the standard library's string layout.
#ifndef HALDEN_BASE_STRING_PROXY_H
#define HALDEN_BASE_STRING_PROXY_H

#include <cstddef>
#include <string>

namespace Tarsis {

class CStringProxy {
public:
    CStringProxy();
    // Copies the text; a null pointer gives an empty string.
    CStringProxy(const char* text);
    CStringProxy(const char* text, std::size_t length);
    CStringProxy(const CStringProxy& other);
    CStringProxy& operator=(const CStringProxy& other);
    ~CStringProxy();

    const char* c_str() const;
    std::size_t length() const;
    bool empty() const { return length() == 0; }

private:
    std::string* str_;
};

class CWStringProxy {
public:
    CWStringProxy();
    CWStringProxy(const wchar_t* text);
    CWStringProxy(const wchar_t* text, std::size_t length);
    CWStringProxy(const CWStringProxy& other);
    CWStringProxy& operator=(const CWStringProxy& other);
    ~CWStringProxy();

    const wchar_t* c_str() const;
    std::size_t length() const;
    bool empty() const { return length() == 0; }

private:
    std::wstring* str_;
};

}  // namespace Tarsis

#endif
