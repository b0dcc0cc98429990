// Exception classes of the library. The ASN.1 layer and the helpers throw the
// CAException family; the provider's OCSP routine uses HaldenException for a
// failure that carries its own code.
#ifndef HALDEN_BASE_EXCEPTIONS_H
#define HALDEN_BASE_EXCEPTIONS_H

#include <exception>
#include <stdexcept>
#include <string>

// A failure with a message and the source position that raised it. what()
// gives "Exception :'<message>' at file:'<file>' line:<line>".
class CAException : public std::runtime_error {
public:
    CAException(const char* message, const char* file, int line);
    CAException(const std::string& message, const char* file, int line);
    ~CAException() override;

    const std::string& file() const { return file_; }
    int line() const { return line_; }

private:
    std::string file_;
    int line_;
};

// Failures of the ASN.1 helper layer, catchable by type.
class Asn1Exception : public CAException {
public:
    using CAException::CAException;
    ~Asn1Exception() override;
};

// Decoding failures of the ASN.1 layer. Not an Asn1Exception on purpose: the
// two are caught separately.
class Asn1DecodeException : public CAException {
public:
    using CAException::CAException;
    ~Asn1DecodeException() override;
};

// A failure known by its code; the message is "Error 0x<code>.".
class CryptException : public CAException {
public:
    CryptException(unsigned int code, const char* file, int line);
    ~CryptException() override;

    unsigned int code() const { return code_; }

private:
    unsigned int code_;
};

// A failure of the OCSP step with the code it reports. The code is never 0:
// 0 is replaced by NTE_FAIL so that a caught exception can never read as
// success.
class HaldenException : public std::exception {
public:
    HaldenException(const std::string& message, int code);
    ~HaldenException() override;

    const char* what() const noexcept override;
    int code() const { return code_; }

private:
    std::string message_;
    int code_;
};

#endif
