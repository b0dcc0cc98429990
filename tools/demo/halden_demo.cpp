// halden-demo: a guided tour of what halden and maren do today, run by
// scripts/demo against a throw-away platform home.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <maren/maren.h>

#include "base/base64.h"
#include "base/blob.h"
#include "base/date_time.h"
#include "base/date_time_span.h"
#include "tools/demo/demo_sections.h"

namespace {

void show_registry() {
    demo::heading("maren: the registry");
    const char* home = std::getenv("MAREN_HOME");
    std::string path = std::string(home ? home : ".") + "/registry.conf";
    std::ofstream(path) << "# written by halden-demo\n"
                           "[\\config\\Parameters]\n"
                           "ChainSignatureCacheSize = 50\n"
                           "this line is malformed and skipped\n"
                           "[\\cryptography\\OID\\EncodingType 1\\CertDllVerifyRevocation\\DEFAULT]\n"
                           "DLL = \"libhalden.so.2\"\n";
    std::printf("registry file: %s\n", path.c_str());

    long size = 0;
    int rc = host_registry_get_long("\\CONFIG\\parameters\\ChainSignatureCacheSize", &size);
    std::printf("  \\config\\Parameters\\ChainSignatureCacheSize -> rc %d, %ld (names fold case)\n", rc, size);
    char dll[256];
    size_t room = sizeof dll;
    rc = host_registry_get_string("\\cryptography\\OID\\EncodingType 1\\CertDllVerifyRevocation\\DEFAULT\\DLL", dll,
                                  &room);
    std::printf("  ...\\CertDllVerifyRevocation\\DEFAULT\\DLL -> rc %d, \"%s\"\n", rc, rc == 0 ? dll : "");
    long missing = 0;
    rc = host_registry_get_long("\\config\\Parameters\\NoSuchValue", &missing);
    std::printf("  \\config\\Parameters\\NoSuchValue -> rc %d (no value)\n", rc);
}

void show_trace() {
    demo::heading("maren: tracing");
    std::printf("MAREN_TRACE=%s\n", std::getenv("MAREN_TRACE") ? std::getenv("MAREN_TRACE") : "(unset)");
    HOST_PRINT_HANDLE handle = host_print_init(nullptr, "demo", 0, 0x7f);
    std::fflush(stdout);
    if (handle && host_print_is(handle, 0x20))
        host_dprint_print_(handle, "a debug line at level 0x20 for module %s", "", __LINE__, __func__, "demo");
    if (handle && host_print_is(handle, 0x01))
        host_elprint_print_(handle, "%s %d", "", __LINE__, __func__, "an error line, value", 42);
    std::fflush(stderr);
}

void show_time() {
    demo::heading("maren and base: time");
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    SYSTEMTIME st;
    FileTimeToSystemTime(&now, &st);
    std::printf("now: FILETIME 0x%08X%08X = %04u-%02u-%02u %02u:%02u:%02u UTC (weekday %u)\n", now.dwHighDateTime,
                now.dwLowDateTime, st.wYear, st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond, st.wDayOfWeek);
    SYSTEMTIME bad = st;
    bad.wMonth = 2;
    bad.wDay = 30;
    FILETIME ignored;
    BOOL ok = SystemTimeToFileTime(&bad, &ignored);
    std::printf("February 30 -> %s, last error %u\n", ok ? "accepted" : "refused", GetLastError());

    Tarsis::CDateTime when("20240131120000.25Z");
    std::printf("GeneralizedTime 20240131120000.25Z -> %s, shown as %s\n", when.getGeneralizedTime().c_str(),
                when.tostring().c_str());
    std::printf("one calendar month later: %s (the month's last day)\n",
                DateAddMonth(1, when).getGeneralizedTime().c_str());
    Tarsis::CDateTimeSpan span("00010000000000.000000");
    std::printf("a span of one year is %s days\n", std::to_string(span / Tarsis::CDateTimeSpan::OneDay()).c_str());
}

void show_base64(const std::string& pem) {
    demo::heading("base: Base64 with PEM headers");
    DWORD size = 0;
    base64hdr_decode(pem.data(), static_cast<DWORD>(pem.size()), nullptr, &size);
    std::vector<BYTE> der(size);
    if (!base64hdr_decode(pem.data(), static_cast<DWORD>(pem.size()), der.data(), &size)) {
        std::printf("the first certificate of the bundle did not decode (last error %u)\n", GetLastError());
        return;
    }
    der.resize(size);
    Tarsis::CBlob blob(der.data(), der.size());
    Tarsis::CBlob head(der.data(), der.size() < 16 ? der.size() : 16);
    std::printf("first certificate of the CA bundle: %zu bytes of DER, starting %s\n", blob.cbData(),
                head.writeToHexString(4).c_str());
    DWORD text_size = 0;
    base64hdr_encode(&Base64CertificateHdrs, der.data(), size, nullptr, &text_size);
    std::string text(text_size, '\0');
    base64hdr_encode(&Base64CertificateHdrs, der.data(), size, text.data(), &text_size);
    std::printf("re-encoded with headers: %u characters, first line \"%s\"\n", text_size,
                text.substr(0, text.find('\n')).c_str());
}

}  // namespace

int main(int argc, char** argv) {
    const std::string bundle = argc > 1 ? argv[1] : "/etc/ssl/certs/ca-certificates.crt";
    const std::vector<std::string> pems = demo::read_pem_blocks(bundle);
    std::printf("halden-demo: %zu certificates in %s\n", pems.size(), bundle.c_str());

    show_registry();
    show_trace();
    show_time();
    if (!pems.empty()) show_base64(pems.front());
    demo::show_decoder(pems, argc > 2 ? argv[2] : nullptr);
    return 0;
}
