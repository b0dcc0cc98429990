#include "tools/verify/report.h"

#include <cstdio>

#include "tools/verify/codes.h"
#include "tools/verify/times.h"

namespace verify_tool {
namespace {

const char* result_word(Result result) {
    switch (result) {
    case Result::good:
        return "good";
    case Result::revoked:
        return "revoked";
    case Result::unknown:
        return "unknown";
    case Result::invalid_argument:
        return "invalid-argument";
    }
    return "unknown";
}

std::string hex32(DWORD value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(value));
    return text;
}

// "CRYPT_E_REVOKED (0x80092010)", or the code alone.
std::string error_words(DWORD error) {
    const char* name = error_name(error);
    return name != nullptr ? std::string(name) + " (" + hex32(error) + ")" : hex32(error);
}

bool is_zero(const FILETIME& time) { return time.dwLowDateTime == 0 && time.dwHighDateTime == 0; }

std::string json_string(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (byte < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", byte);
            out += escape;
        } else {
            out += c;  // UTF-8 passes as it is
        }
    }
    return out + "\"";
}

std::string json_string_or_null(const char* text) { return text != nullptr ? json_string(text) : "null"; }

std::string json_time_or_null(const FILETIME& time) {
    return is_zero(time) ? "null" : json_string(utc_time_text(time));
}

std::string json_crl(const std::optional<CrlSummary>& crl) {
    if (!crl) return "null";
    std::string out = "{\"issuer\": " + json_string(crl->issuer) +
                      ", \"this_update\": " + json_time_or_null(crl->this_update) +
                      ", \"next_update\": " + json_time_or_null(crl->next_update) + ", \"entry\": ";
    if (crl->entry)
        out += "{\"serial\": " + json_string(crl->entry->serial) +
               ", \"revocation_date\": " + json_string(utc_time_text(crl->entry->revocation_date)) + "}";
    else
        out += "null";
    return out + "}";
}

std::string crl_lines(const CrlSummary& crl) {
    std::string out = "crl: issued by " + crl.issuer + ", this update " + utc_time_text(crl.this_update) +
                      ", next update " + (is_zero(crl.next_update) ? "none" : utc_time_text(crl.next_update)) +
                      "\n";
    if (crl.entry)
        out += "crl entry: serial " + crl.entry->serial + ", revoked " +
               utc_time_text(crl.entry->revocation_date) + "\n";
    else
        out += "crl entry: none\n";
    return out;
}

}  // namespace

std::string human_report(const Verdict& verdict, const std::vector<std::string>& subjects) {
    auto subject = [&](size_t i) { return i < subjects.size() ? subjects[i] : "certificate " + std::to_string(i); };
    std::string out;
    switch (verdict.result) {
    case Result::good:
        for (size_t i = 0; i < subjects.size(); ++i) out += "good: " + subject(i) + "\n";
        break;
    case Result::revoked:
    case Result::unknown: {
        // Every certificate before the one that failed passed; those after
        // it were not looked at.
        for (size_t i = 0; i < verdict.index && i < subjects.size(); ++i) out += "good: " + subject(i) + "\n";
        if (verdict.result == Result::revoked) {
            const char* reason = verdict.reason ? reason_name(*verdict.reason) : nullptr;
            out += "revoked: " + subject(verdict.index);
            if (verdict.reason)
                out += " (" + (reason != nullptr ? std::string(reason) : "reason " + std::to_string(*verdict.reason)) +
                       ")";
            out += "\n";
        } else {
            out += "unknown: " + subject(verdict.index) + " (status not established: " + error_words(verdict.error) +
                   ")\n";
        }
        break;
    }
    case Result::invalid_argument:
        out += "invalid-argument: the provider refused the arguments (" + error_words(verdict.error) + ")\n";
        break;
    }
    if (verdict.freshness_seconds)
        out += "freshness: the CRL was " + std::to_string(*verdict.freshness_seconds) + " seconds old\n";
    if (verdict.crl) out += crl_lines(*verdict.crl);
    else if (verdict.crl_asked) out += "crl: none came back\n";
    return out;
}

std::string json_report(const Verdict& verdict) {
    auto number_or_null = [](const std::optional<DWORD>& n) { return n ? std::to_string(*n) : "null"; };
    return "{\"result\": " + json_string(result_word(verdict.result)) +
           ", \"index\": " + std::to_string(verdict.index) +
           ", \"error\": " + json_string(hex32(verdict.error)) +
           ", \"error_name\": " + json_string_or_null(error_name(verdict.error)) +
           ", \"reason\": " + number_or_null(verdict.reason) +
           ", \"reason_name\": " + json_string_or_null(verdict.reason ? reason_name(*verdict.reason) : nullptr) +
           ", \"freshness_seconds\": " + number_or_null(verdict.freshness_seconds) +
           ", \"crl\": " + json_crl(verdict.crl) + "}\n";
}

}  // namespace verify_tool
