// libcurl, loaded when something is first sent, and the few calls of the TLS library that it
// brings along. A process that sends nothing pays for neither.
#pragma once

#include "platform/http/ground.h"

#include <curl/curl.h>
#include <openssl/ssl.h>

// The header's checking macros know the functions by their plain names alone.
#undef curl_easy_setopt
#undef curl_easy_getinfo

namespace platform {

// Every function that is used, and nothing else. What is missing here cannot be called.
#define KESTREL_CURL_FUNCTIONS(USE)       \
    USE(curl_global_init)                 \
    USE(curl_easy_init)                   \
    USE(curl_easy_cleanup)                \
    USE(curl_easy_perform)                \
    USE(curl_easy_setopt)                 \
    USE(curl_easy_getinfo)                \
    USE(curl_easy_pause)                  \
    USE(curl_slist_append)                \
    USE(curl_slist_free_all)              \
    USE(curl_multi_init)                  \
    USE(curl_multi_cleanup)               \
    USE(curl_multi_add_handle)            \
    USE(curl_multi_remove_handle)         \
    USE(curl_multi_perform)               \
    USE(curl_multi_poll)                  \
    USE(curl_multi_info_read)             \
    USE(curl_url)                         \
    USE(curl_url_cleanup)                 \
    USE(curl_url_set)                     \
    USE(curl_url_get)                     \
    USE(curl_free)                        \
    USE(SSL_CTX_set_cert_verify_callback) \
    USE(SSL_CTX_set_cert_cb)              \
    USE(SSL_CTX_set1_cert_store)          \
    USE(SSL_CTX_set_post_handshake_auth)  \
    USE(SSL_CTX_use_certificate)          \
    USE(SSL_CTX_use_PrivateKey)           \
    USE(SSL_CTX_ctrl)

struct CurlLibrary {
#define KESTREL_MEMBER(name) decltype(&::name) name;
    KESTREL_CURL_FUNCTIONS(KESTREL_MEMBER)
#undef KESTREL_MEMBER
};

// Throws ERROR_DLL_NOT_FOUND with the name of the missing package.
const CurlLibrary& Curl();

// A time-out ends the wait for a name, too: without this the end of a transfer waits until the
// system's resolver gives up. libcurl has it from 7.87 on.
inline void LeaveResolverBehind(CURL* easy) {
    static_cast<void>(Curl().curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L));
}

// The deleter of libcurl's objects: what frees them is known once it is loaded.
template <auto CurlLibrary::*free>
struct CurlFreer {
    template <class T>
    void operator()(T* object) const {
        static_cast<void>((Curl().*free)(object));
    }
};

}  // namespace platform
