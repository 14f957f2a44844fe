// libcurl, loaded by the first upload of the process.
#pragma once

#include <curl/curl.h>

#include <string>

namespace rqb {

// The libcurl functions the uploads call, typed as libcurl's header declares
// them: F(member, symbol). The setopt and getinfo members take their
// argument unchecked, as the functions themselves do: longs as long,
// pointers as pointers.
#define RQB_CURL_FUNCTIONS(F)                      \
  F(global_init, curl_global_init)                 \
  F(version_info, curl_version_info)               \
  F(easy_init, curl_easy_init)                     \
  F(easy_setopt, curl_easy_setopt)                 \
  F(easy_getinfo, curl_easy_getinfo)               \
  F(easy_strerror, curl_easy_strerror)             \
  F(easy_cleanup, curl_easy_cleanup)               \
  F(slist_append, curl_slist_append)               \
  F(slist_free_all, curl_slist_free_all)           \
  F(multi_init, curl_multi_init)                   \
  F(multi_add_handle, curl_multi_add_handle)       \
  F(multi_remove_handle, curl_multi_remove_handle) \
  F(multi_perform, curl_multi_perform)             \
  F(multi_info_read, curl_multi_info_read)         \
  F(multi_poll, curl_multi_poll)                   \
  F(multi_wakeup, curl_multi_wakeup)               \
  F(multi_cleanup, curl_multi_cleanup)             \
  F(url, curl_url)                                 \
  F(url_set, curl_url_set)                         \
  F(url_get, curl_url_get)                         \
  F(url_cleanup, curl_url_cleanup)                 \
  F(free, curl_free)

struct CurlFunctions {
#define RQB_CURL_MEMBER(member, symbol) decltype(&::symbol) member = nullptr;
  RQB_CURL_FUNCTIONS(RQB_CURL_MEMBER)
#undef RQB_CURL_MEMBER
};

// libcurl, loaded and initialised after OpenSSL (InitTlsLibrary()), so that
// OpenSSL registers no exit handler, and kept once that succeeded. nullptr
// when it cannot be loaded, or is older than 7.85 or not built with OpenSSL;
// `why`, when given, then says why, and the next call tries again. Any thread; only a library
// thread should make the first call, which loads some thirty shared objects.
const CurlFunctions* Curl(std::string* why = nullptr);

}  // namespace rqb
