// CryptRetrieveObjectByUrlA/W: certificates and CRLs by URL (http, https,
// file, ldap), through the URL cache.
//
// Modes: CRYPT_CACHE_ONLY_RETRIEVAL answers from the cache and never
// touches the network (a miss is CRYPT_E_NOT_FOUND); CRYPT_WIRE_ONLY_RETRIEVAL
// always fetches, and fills the cache; by default an entry still in force
// (a CRL before its NextUpdate, a certificate before its NotAfter) is used,
// else the wire. CRYPT_DONT_CACHE_RESULT keeps a fetched object out of the
// cache. An entry synchronised before *pftCacheResync is a miss in every
// mode. pLastSyncTime receives the entry's time, or now for a fetch.
//
// dwTimeout bounds the whole exchange, name resolution included; 0 takes
// 15 seconds. The body is capped at dwMaxUrlRetrievalByteCount of the aux
// info when given, else at \config\Net\MaxResponseBytes (100 MiB).
//
// Errors: E_INVALIDARG for bad arguments, ERROR_NOT_SUPPORTED for what is
// not offered (asynchronous retrieval, signature checks, other objects);
// CRYPT_E_NOT_FOUND for a cache-only miss; ERROR_TIMEOUT,
// ERROR_HOST_UNREACHABLE, ERROR_CONNECTION_REFUSED, ERROR_FILE_NOT_FOUND
// (404, 410, a missing file), ERROR_INVALID_DATA (over the cap, a broken
// answer), ERROR_OPERATION_ABORTED (too many redirects), ERROR_CANTREAD
// (another status or failure) for the wire; CRYPT_E_ASN1_BADTAG when the
// response holds no object at all, CRYPT_E_NO_MATCH when none of the kind
// asked for.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include <maren/maren.h>

#include "platform/host/trace_internal.h"
#include "platform/net/http_client.h"
#include "platform/retrieval/response_objects.h"
#include "platform/retrieval/url_cache.h"

namespace maren::retrieval {
namespace {

enum class Want { raw, certificate, crl, everything };

struct Request {
    std::string url;
    Want want = Want::raw;
    bool multiple = false;
    DWORD flags = 0;
    DWORD timeout_ms = 0;
    std::size_t cap = 0;
    const FILETIME *resync = nullptr;
    FILETIME *last_sync = nullptr;

    bool wants_certificates() const { return want == Want::certificate || want == Want::everything; }
    bool wants_crls() const { return want == Want::crl || want == Want::everything; }
};

struct Objects {
    std::vector<CertHolder> certificates;
    std::vector<CrlHolder> crls;
    FILETIME sync_time{};
    bool empty() const { return certificates.empty() && crls.empty(); }
};

// A field of a structure with cbSize counts when cbSize reaches its end.
#define MAREN_AUX_HAS(aux, field) \
    ((aux)->cbSize >= offsetof(CRYPT_RETRIEVE_AUX_INFO, field) + sizeof((aux)->field))

BOOL fail(DWORD error) {
    SetLastError(error);
    return FALSE;
}

DWORD error_of(const net::HttpResponse &response) {
    switch (response.error) {
        case net::HttpError::timeout: return ERROR_TIMEOUT;
        case net::HttpError::resolve_failed: return ERROR_HOST_UNREACHABLE;
        case net::HttpError::connection_failed: return ERROR_CONNECTION_REFUSED;
        case net::HttpError::not_found: return ERROR_FILE_NOT_FOUND;
        case net::HttpError::bad_status:
            return response.status == 404 || response.status == 410 ? ERROR_FILE_NOT_FOUND : ERROR_CANTREAD;
        case net::HttpError::too_large:
        case net::HttpError::bad_response: return ERROR_INVALID_DATA;
        case net::HttpError::too_many_redirects: return ERROR_OPERATION_ABORTED;
        case net::HttpError::unsupported_scheme: return ERROR_NOT_SUPPORTED;
        case net::HttpError::invalid_argument: return static_cast<DWORD>(E_INVALIDARG);
        case net::HttpError::out_of_memory: return static_cast<DWORD>(E_OUTOFMEMORY);
        default: return ERROR_CANTREAD;
    }
}

// An entry counts unless it was synchronised before the caller's resync
// time; `in_force` also asks every object to be valid now.
bool usable(const FoundItem &item, const Request &request, bool in_force, const ContextFunc &func) {
    if (!item.found()) return false;
    if (request.resync != nullptr && CompareFileTime(&item.sync_time, request.resync) < 0) return false;
    if (in_force)
        for (const ContextRef &context : item.contexts)
            if (!func.IsTimeValid(context.get(), nullptr)) return false;
    return true;
}

bool from_cache(const Request &request, bool in_force, Objects *out) {
    static const std::unique_ptr<ContextFunc> cert_func = ContextFuncFactory::CreateContextFunc(CONTEXT_OID_CERTIFICATE);
    static const std::unique_ptr<ContextFunc> crl_func = ContextFuncFactory::CreateContextFunc(CONTEXT_OID_CRL);
    bool hit = false;
    if (request.wants_certificates()) {
        UrlCacheSingleton singleton(CONTEXT_OID_CERTIFICATE);
        FoundItem item = singleton.get() ? singleton.get()->FindItem(request.url) : FoundItem{};
        if (usable(item, request, in_force, *cert_func)) {
            for (ContextRef &context : item.contexts)
                out->certificates.emplace_back(static_cast<PCCERT_CONTEXT>(context.release()));
            out->sync_time = item.sync_time;
            hit = true;
        }
    }
    if (request.wants_crls()) {
        UrlCacheSingleton singleton(CONTEXT_OID_CRL);
        FoundItem item = singleton.get() ? singleton.get()->FindItem(request.url) : FoundItem{};
        if (usable(item, request, in_force, *crl_func)) {
            for (ContextRef &context : item.contexts)
                out->crls.emplace_back(static_cast<PCCRL_CONTEXT>(context.release()));
            out->sync_time = item.sync_time;
            hit = true;
        }
    }
    return hit;
}

void into_cache(const Request &request, const Objects &objects) {
    if (!objects.certificates.empty()) {
        UrlCacheSingleton singleton(CONTEXT_OID_CERTIFICATE);
        if (UrlCache *cache = singleton.get()) {
            std::vector<const void *> contexts;
            for (const CertHolder &c : objects.certificates) contexts.push_back(c.get());
            const int status = cache->CacheItems(request.url, objects.sync_time, contexts, CONTEXT_OID_CERTIFICATE);
            if (status != 0) MAREN_TRACE_INFO("%s: not cached (%x)", request.url.c_str(), static_cast<unsigned>(status));
            cache->SaveCacheToStore();
        }
    }
    if (!objects.crls.empty()) {
        UrlCacheSingleton singleton(CONTEXT_OID_CRL);
        if (UrlCache *cache = singleton.get()) {
            std::vector<const void *> contexts;
            for (const CrlHolder &c : objects.crls) contexts.push_back(c.get());
            const int status = cache->CacheItems(request.url, objects.sync_time, contexts, CONTEXT_OID_CRL);
            if (status != 0) MAREN_TRACE_INFO("%s: not cached (%x)", request.url.c_str(), static_cast<unsigned>(status));
            cache->SaveCacheToStore();
        }
    }
}

// The response bytes as a CRYPT_BLOB_ARRAY in one CryptMemAlloc block.
BOOL raw_result(const std::vector<unsigned char> &body, LPVOID *ppvObject) {
    const std::size_t head = sizeof(CRYPT_BLOB_ARRAY) + sizeof(CRYPT_DATA_BLOB);
    auto *block = static_cast<unsigned char *>(CryptMemAlloc(static_cast<ULONG>(head + body.size())));
    if (block == nullptr) return fail(static_cast<DWORD>(E_OUTOFMEMORY));
    auto *array = reinterpret_cast<CRYPT_BLOB_ARRAY *>(block);
    auto *blob = reinterpret_cast<CRYPT_DATA_BLOB *>(block + sizeof(CRYPT_BLOB_ARRAY));
    array->cBlob = 1;
    array->rgBlob = blob;
    blob->cbData = static_cast<DWORD>(body.size());
    blob->pbData = block + head;
    if (!body.empty()) std::memcpy(blob->pbData, body.data(), body.size());
    *ppvObject = array;
    return TRUE;
}

BOOL deliver(const Request &request, Objects &objects, LPVOID *ppvObject) {
    if (request.last_sync != nullptr) *request.last_sync = objects.sync_time;
    if (!request.multiple) {
        if (request.want == Want::certificate && !objects.certificates.empty()) {
            *ppvObject = const_cast<CERT_CONTEXT *>(objects.certificates.front().release());
            return TRUE;
        }
        if (request.want == Want::crl && !objects.crls.empty()) {
            *ppvObject = const_cast<CRL_CONTEXT *>(objects.crls.front().release());
            return TRUE;
        }
        return fail(static_cast<DWORD>(CRYPT_E_NO_MATCH));
    }
    HCERTSTORE store = CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr);
    if (store == nullptr) return FALSE;
    bool ok = true;
    if (request.wants_certificates())
        for (const CertHolder &c : objects.certificates)
            ok = ok && CertAddCertificateContextToStore(store, c.get(), CERT_STORE_ADD_ALWAYS, nullptr);
    if (request.wants_crls())
        for (const CrlHolder &c : objects.crls)
            ok = ok && CertAddCRLContextToStore(store, c.get(), CERT_STORE_ADD_ALWAYS, nullptr);
    if (!ok) {
        const DWORD error = GetLastError();
        CertCloseStore(store, 0);
        return fail(error);
    }
    *ppvObject = store;
    return TRUE;
}

BOOL from_wire(const Request &request, LPVOID *ppvObject) {
    net::HttpRequest http;
    http.url = request.url;
    http.timeout_ms = request.timeout_ms;
    http.max_response_bytes = request.cap;
    http.allow_file_and_ldap = true;
    net::HttpResponse response = net::http_perform(http);
    if (!response.ok()) {
        MAREN_TRACE_INFO("%s: %s (%s)", request.url.c_str(), net::http_error_name(response.error),
                         response.message.c_str());
        return fail(error_of(response));
    }
    if (request.want == Want::raw) {
        if (request.last_sync != nullptr) GetSystemTimeAsFileTime(request.last_sync);
        return raw_result(response.body, ppvObject);
    }

    WantedKinds kinds;
    kinds.certificates = request.wants_certificates();
    kinds.crls = request.wants_crls();
    ResponseObjects parsed = parse_response(response.body.data(), response.body.size(), kinds);
    std::vector<unsigned char>().swap(response.body);
    if (parsed.empty()) {
        MAREN_TRACE_INFO("%s: no object of the kind asked for", request.url.c_str());
        return fail(static_cast<DWORD>(parsed.recognised ? CRYPT_E_NO_MATCH : CRYPT_E_ASN1_BADTAG));
    }
    Objects objects;
    objects.certificates = std::move(parsed.certificates);
    objects.crls = std::move(parsed.crls);
    GetSystemTimeAsFileTime(&objects.sync_time);
    if ((request.flags & CRYPT_DONT_CACHE_RESULT) == 0) into_cache(request, objects);
    return deliver(request, objects, ppvObject);
}

BOOL retrieve(const Request &request, LPVOID *ppvObject) {
    const DWORD flags = request.flags;
    if (request.want != Want::raw && (flags & CRYPT_WIRE_ONLY_RETRIEVAL) == 0) {
        const bool cache_only = (flags & CRYPT_CACHE_ONLY_RETRIEVAL) != 0;
        Objects cached;
        if (from_cache(request, !cache_only, &cached)) {
            MAREN_TRACE_DEBUG("%s: from the URL cache", request.url.c_str());
            return deliver(request, cached, ppvObject);
        }
    }
    if (flags & CRYPT_CACHE_ONLY_RETRIEVAL) return fail(static_cast<DWORD>(CRYPT_E_NOT_FOUND));
    return from_wire(request, ppvObject);
}

}  // namespace
}  // namespace maren::retrieval

extern "C" {

BOOL CryptRetrieveObjectByUrlA(LPCSTR pszUrl, LPCSTR pszObjectOid, DWORD dwRetrievalFlags, DWORD dwTimeout,
                               LPVOID *ppvObject, HCRYPTASYNC hAsyncRetrieve, PCRYPT_CREDENTIALS, LPVOID,
                               PCRYPT_RETRIEVE_AUX_INFO pAuxInfo) {
    using namespace maren::retrieval;
    if (ppvObject != nullptr) *ppvObject = nullptr;
    if (pszUrl == nullptr || pszUrl[0] == '\0' || ppvObject == nullptr) return fail(static_cast<DWORD>(E_INVALIDARG));
    if ((dwRetrievalFlags & CRYPT_CACHE_ONLY_RETRIEVAL) && (dwRetrievalFlags & CRYPT_WIRE_ONLY_RETRIEVAL))
        return fail(static_cast<DWORD>(E_INVALIDARG));
    if (hAsyncRetrieve != nullptr || (dwRetrievalFlags & (CRYPT_ASYNC_RETRIEVAL | CRYPT_VERIFY_CONTEXT_SIGNATURE |
                                                          CRYPT_VERIFY_DATA_HASH)))
        return fail(ERROR_NOT_SUPPORTED);
    try {
        Request request;
        request.url = pszUrl;
        request.flags = dwRetrievalFlags;
        request.multiple = (dwRetrievalFlags & CRYPT_RETRIEVE_MULTIPLE_OBJECTS) != 0;
        switch (reinterpret_cast<std::uintptr_t>(pszObjectOid)) {
            case 0: request.want = Want::raw; break;
            case 1: request.want = Want::certificate; break;
            case 2: request.want = Want::crl; break;
            case 4:
            case 5:
                request.want = Want::everything;
                request.multiple = true;
                break;
            default: return fail(ERROR_NOT_SUPPORTED);
        }
        request.timeout_ms = dwTimeout != 0 ? dwTimeout : maren::net::kDefaultTimeoutMs;
        if (pAuxInfo != nullptr) {
            if (MAREN_AUX_HAS(pAuxInfo, pLastSyncTime)) request.last_sync = pAuxInfo->pLastSyncTime;
            if (MAREN_AUX_HAS(pAuxInfo, dwMaxUrlRetrievalByteCount))
                request.cap = pAuxInfo->dwMaxUrlRetrievalByteCount;
            if (MAREN_AUX_HAS(pAuxInfo, pftCacheResync)) request.resync = pAuxInfo->pftCacheResync;
        }
        return retrieve(request, ppvObject);
    } catch (const std::bad_alloc &) {
        return fail(static_cast<DWORD>(E_OUTOFMEMORY));
    } catch (...) {
        return fail(ERROR_INTERNAL_ERROR);
    }
}

BOOL CryptRetrieveObjectByUrlW(LPCWSTR pszUrl, LPCSTR pszObjectOid, DWORD dwRetrievalFlags, DWORD dwTimeout,
                               LPVOID *ppvObject, HCRYPTASYNC hAsyncRetrieve, PCRYPT_CREDENTIALS pCredentials,
                               LPVOID pvVerify, PCRYPT_RETRIEVE_AUX_INFO pAuxInfo) {
    if (ppvObject != nullptr) *ppvObject = nullptr;
    if (pszUrl == nullptr) {
        SetLastError(static_cast<DWORD>(E_INVALIDARG));
        return FALSE;
    }
    try {
        const int size = WideCharToMultiByte(CP_UTF8, 0, pszUrl, -1, nullptr, 0, nullptr, nullptr);
        if (size <= 0) {
            SetLastError(static_cast<DWORD>(E_INVALIDARG));
            return FALSE;
        }
        std::string url(static_cast<std::size_t>(size), '\0');
        WideCharToMultiByte(CP_UTF8, 0, pszUrl, -1, url.data(), size, nullptr, nullptr);
        url.resize(static_cast<std::size_t>(size - 1));
        return CryptRetrieveObjectByUrlA(url.c_str(), pszObjectOid, dwRetrievalFlags, dwTimeout, ppvObject,
                                         hAsyncRetrieve, pCredentials, pvVerify, pAuxInfo);
    } catch (const std::bad_alloc &) {
        SetLastError(static_cast<DWORD>(E_OUTOFMEMORY));
        return FALSE;
    }
}

}  // extern "C"
