#include "tools/verify/options.h"

#include <cstdint>

#include "tools/verify/status.h"
#include "tools/verify/times.h"

namespace verify_tool {

const char kHelpText[] =
    "usage: halden-verify [OPTIONS] CERT...\n"
    "\n"
    "Asks the revocation provider whether certificates are revoked, calling it as\n"
    "the platform does.\n"
    "\n"
    "  CERT                    certificate files, PEM or DER; a PEM file may hold several, taken in order\n"
    "  --chain                 the certificates form a chain, each issued by the next (CERT_VERIFY_REV_CHAIN_FLAG)\n"
    "  --issuer FILE           the issuer certificate (pIssuerCert)\n"
    "  --store FILE            an additional store of the certificates and CRLs in FILE; repeatable (rgCertStore)\n"
    "  --crl FILE              CRLs offered through hCrlStore; repeatable\n"
    "  --ocsp-response FILE    a DER OCSP response stapled to the first certificate (CERT_OCSP_RESPONSE_PROP_ID)\n"
    "  --cache-only            CERT_VERIFY_CACHE_ONLY_BASED_REVOCATION\n"
    "  --accumulative-timeout  CERT_VERIFY_REV_ACCUMULATIVE_TIMEOUT_FLAG\n"
    "  --timeout MS            dwUrlRetrievalTimeout\n"
    "  --time TIME             pftTimeToUse, UTC, e.g. 2024-05-01T12:00:00Z\n"
    "  --crl-info              ask for pCrlInfo and show the CRL that came back\n"
    "  --home DIR              the platform home (stores, registry, caches) instead of MAREN_HOME\n"
    "  --provider PATH         the provider library\n"
    "  --json                  one JSON object on standard output\n"
    "  --trace                 the engine's narrative (TS_PRINT_CHAIN_DETAIL)\n"
    "  -h, --help\n"
    "\n"
    "Every certificate given (CERT, --issuer, --store) also reaches the provider in\n"
    "one additional store. Without --provider, the provider is libhalden.so.2 in\n"
    "the lib directory beside this program's bin directory, else wherever the\n"
    "loader finds it.\n"
    "\n"
    "Exit status: 0 every certificate good; 1 a certificate revoked; 2 status not established;\n"
    "             64 usage error (bad option, unreadable or unparsable file); 70 internal error,\n"
    "             also when the provider refuses the arguments (result \"invalid-argument\").\n"
    "JSON: {\"result\": \"good\"|\"revoked\"|\"unknown\"|\"invalid-argument\", \"index\": N, \"error\": \"0x80092010\",\n"
    "       \"error_name\": \"CRYPT_E_REVOKED\", \"reason\": N or null, \"reason_name\": \"keyCompromise\" or null,\n"
    "       \"freshness_seconds\": N or null, \"crl\": null or {\"issuer\": \"...\", \"this_update\": \"...\",\n"
    "       \"next_update\": \"...\", \"entry\": null or {\"serial\": \"...\", \"revocation_date\": \"...\"}}}\n";

namespace {

[[noreturn]] void usage_error(const std::string& message) { throw ToolError(kUsage, message); }

std::optional<DWORD> parse_milliseconds(const std::string& text) {
    if (text.empty() || text.size() > 10) return std::nullopt;
    std::uint64_t value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') return std::nullopt;
        value = value * 10 + static_cast<std::uint64_t>(c - '0');
    }
    if (value > 0xFFFFFFFFu) return std::nullopt;
    return static_cast<DWORD>(value);
}

// Walks the arguments, giving each option its value from "--name=value" or
// from the next argument.
class Arguments {
public:
    Arguments(int argc, char** argv) : argc_(argc), argv_(argv) {}

    bool next() {
        if (++index_ >= argc_) return false;
        const std::string arg = argv_[index_];
        const size_t equals = arg.find('=');
        inline_value_.reset();
        if (arg.compare(0, 2, "--") == 0 && equals != std::string::npos) {
            name_ = arg.substr(0, equals);
            inline_value_ = arg.substr(equals + 1);
        } else {
            name_ = arg;
        }
        return true;
    }
    const std::string& name() const { return name_; }
    bool has_inline_value() const { return inline_value_.has_value(); }

    std::string value() {
        if (inline_value_) return *inline_value_;
        if (index_ + 1 >= argc_) usage_error(name_ + " needs a value");
        return argv_[++index_];
    }
    std::string file_value() {
        std::string file = value();
        if (file.empty()) usage_error(name_ + " needs a file name");
        return file;
    }
    // Everything after "--" is a certificate file.
    std::vector<std::string> rest() {
        std::vector<std::string> files;
        while (++index_ < argc_) files.push_back(argv_[index_]);
        return files;
    }

private:
    int argc_;
    char** argv_;
    int index_ = 0;
    std::string name_;
    std::optional<std::string> inline_value_;
};

}  // namespace

Options parse_options(int argc, char** argv) {
    Options options;
    Arguments args(argc, argv);
    while (args.next()) {
        const std::string& name = args.name();
        const bool is_flag = name == "-h" || name == "--help" || name == "--chain" || name == "--cache-only" ||
                             name == "--accumulative-timeout" || name == "--crl-info" || name == "--json" ||
                             name == "--trace";
        if (is_flag && args.has_inline_value()) usage_error(name + " takes no value");

        if (name == "-h" || name == "--help") {
            options.help = true;
        } else if (name == "--chain") {
            options.chain = true;
        } else if (name == "--cache-only") {
            options.cache_only = true;
        } else if (name == "--accumulative-timeout") {
            options.accumulative_timeout = true;
        } else if (name == "--crl-info") {
            options.crl_info = true;
        } else if (name == "--json") {
            options.json = true;
        } else if (name == "--trace") {
            options.trace = true;
        } else if (name == "--issuer") {
            if (!options.issuer.empty()) usage_error("--issuer is given once");
            options.issuer = args.file_value();
        } else if (name == "--store") {
            options.stores.push_back(args.file_value());
        } else if (name == "--crl") {
            options.crls.push_back(args.file_value());
        } else if (name == "--ocsp-response") {
            if (!options.ocsp_response.empty()) usage_error("--ocsp-response is given once");
            options.ocsp_response = args.file_value();
        } else if (name == "--timeout") {
            const std::string text = args.value();
            options.timeout = parse_milliseconds(text);
            if (!options.timeout) usage_error("--timeout needs milliseconds (0 to 4294967295), not \"" + text + "\"");
        } else if (name == "--time") {
            const std::string text = args.value();
            options.time = parse_utc_time(text);
            if (!options.time)
                usage_error("--time needs a UTC time such as 2024-05-01T12:00:00Z, not \"" + text + "\"");
        } else if (name == "--home") {
            options.home = args.value();
            if (options.home.empty()) usage_error("--home needs a directory");
        } else if (name == "--provider") {
            options.provider = args.file_value();
        } else if (name == "--") {
            const std::vector<std::string> rest = args.rest();
            options.certs.insert(options.certs.end(), rest.begin(), rest.end());
        } else if (name.size() > 1 && name[0] == '-') {
            usage_error("unknown option " + name);
        } else {
            options.certs.push_back(name);
        }
    }
    if (options.help) return options;
    if (options.certs.empty()) usage_error("no certificate file given");
    return options;
}

}  // namespace verify_tool
