#include "base/exceptions.h"

#include <cstdio>

#include <maren/errors.h>

namespace {

std::string compose(const std::string& message, const char* file, int line) {
    char number[20];
    std::snprintf(number, sizeof number, "%d", line);
    std::string text = "Exception :'";
    text += message;
    text += "' at file:'";
    text += file != nullptr ? file : "";
    text += "' line:";
    text += number;
    return text;
}

std::string crypt_message(unsigned int code) {
    char text[32];
    std::snprintf(text, sizeof text, "Error 0x%x.", code);
    return text;
}

}  // namespace

CAException::CAException(const char* message, const char* file, int line)
    : CAException(std::string(message != nullptr ? message : ""), file, line) {}

CAException::CAException(const std::string& message, const char* file, int line)
    : std::runtime_error(compose(message, file, line)), file_(file != nullptr ? file : ""), line_(line) {}

CAException::~CAException() = default;

Asn1Exception::~Asn1Exception() = default;

Asn1DecodeException::~Asn1DecodeException() = default;

CryptException::CryptException(unsigned int code, const char* file, int line)
    : CAException(crypt_message(code), file, line), code_(code) {}

CryptException::~CryptException() = default;

HaldenException::HaldenException(const std::string& message, int code)
    : message_(message), code_(code != 0 ? code : static_cast<int>(NTE_FAIL)) {}

HaldenException::~HaldenException() = default;

const char* HaldenException::what() const noexcept { return message_.c_str(); }
