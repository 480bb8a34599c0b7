#include "mailhost/transport/clsCurlLibrary.h"

#include <dlfcn.h>

#include <mutex>

// CORVEL_CURL_SONAME: the build names the soname of the libcurl it compiled against, so that the
// same ABI is loaded.

namespace {

std::string& LastError() {
    static std::string error;
    return error;
}

template <class Function>
bool Resolve(void* library, const char* name, Function& function, std::string& error) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    if (function == nullptr) {
        error = std::string(CORVEL_CURL_SONAME) + " has no " + name;
    }
    return function != nullptr;
}

}  // namespace

const clsCurlLibrary* clsCurlLibrary::Load() {
    static std::once_flag once;
    static clsCurlLibrary library;
    static bool loaded = false;
    std::call_once(once, [] { loaded = library.Open(LastError()); });
    return loaded ? &library : nullptr;
}

const std::string& clsCurlLibrary::Error() { return LastError(); }

bool clsCurlLibrary::Open(std::string& error) {
    void* handle = dlopen(CORVEL_CURL_SONAME, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        const char* why = dlerror();
        error = "cannot load " CORVEL_CURL_SONAME " (" + std::string(why ? why : "unknown error") +
                "): install libcurl to send over SMTP, or send through sendmail";
        return false;
    }
    CURLcode (*globalInit)(long) = nullptr;
    if (!Resolve(handle, "curl_global_init", globalInit, error) ||
        !Resolve(handle, "curl_easy_init", EasyInit, error) ||
        !Resolve(handle, "curl_easy_setopt", EasySetopt, error) ||
        !Resolve(handle, "curl_easy_perform", EasyPerform, error) ||
        !Resolve(handle, "curl_easy_getinfo", EasyGetinfo, error) ||
        !Resolve(handle, "curl_easy_cleanup", EasyCleanup, error) ||
        !Resolve(handle, "curl_easy_strerror", EasyStrerror, error) ||
        !Resolve(handle, "curl_slist_append", SlistAppend, error) ||
        !Resolve(handle, "curl_slist_free_all", SlistFreeAll, error)) {
        return false;  // the handle stays open: a failed load is not tried again
    }
    if (globalInit(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
        error = "libcurl's global set-up failed";
        return false;
    }
    return true;
}
