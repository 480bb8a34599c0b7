#pragma once
// clsCurlLibrary: libcurl, loaded when the first message goes out over SMTP rather than when
// corvel starts. Its TLS, Kerberos and LDAP libraries are two dozen shared objects whose loading
// took about 5 ms of every command, most of which never send mail. Holds the functions the SMTP
// transport calls, resolved once; libcurl's own global set-up has run when Load succeeds.
// Process-wide, never unloaded; Load is safe from any thread. Failure: Load gives nullptr and
// Error() says why; nothing throws.

#include <curl/curl.h>

#include <string>

class clsCurlLibrary {
public:
    // The library, loaded on first use; nullptr when it cannot be.
    static const clsCurlLibrary* Load();
    // Why the last Load failed.
    static const std::string& Error();

    CURL* (*EasyInit)() = nullptr;
    CURLcode (*EasySetopt)(CURL*, CURLoption, ...) = nullptr;
    CURLcode (*EasyPerform)(CURL*) = nullptr;
    CURLcode (*EasyGetinfo)(CURL*, CURLINFO, ...) = nullptr;
    void (*EasyCleanup)(CURL*) = nullptr;
    const char* (*EasyStrerror)(CURLcode) = nullptr;
    curl_slist* (*SlistAppend)(curl_slist*, const char*) = nullptr;
    void (*SlistFreeAll)(curl_slist*) = nullptr;

private:
    clsCurlLibrary() = default;
    // Opens the library and resolves every function; false (with error set) when any is missing.
    bool Open(std::string& error);
};
