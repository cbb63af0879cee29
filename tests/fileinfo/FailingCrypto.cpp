// Replaces libcrypto and fails in the function named by the environment variable OX_FAILING_CRYPTO.
// Digests are zeros. Aborts if something is not freed when the process ends.

#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

// The number of live objects of each kind.
struct Objects {
  int libraryContexts = 0;
  int providers = 0;
  int algorithms = 0;
  int contexts = 0;

  ~Objects() {
    // The process-wide objects may remain, but only all of them.
    const bool hasAll = libraryContexts == 1 && providers == 1 && algorithms == 1;
    const bool hasNone = libraryContexts == 0 && providers == 0 && algorithms == 0;
    if (contexts != 0 || (!hasAll && !hasNone)) {
      std::abort();
    }
  }
};

Objects objects;

bool isToFail(std::string_view function) {
  const char* const failing = std::getenv("OX_FAILING_CRYPTO");
  return failing != nullptr && failing == function;
}

void* make(const char* function, int& count) {
  if (isToFail(function)) {
    return nullptr;
  }
  ++count;
  return &count;
}

}  // namespace

extern "C" {

void* OSSL_LIB_CTX_new() {
  return make("OSSL_LIB_CTX_new", objects.libraryContexts);
}

void OSSL_LIB_CTX_free(void* /*context*/) {
  --objects.libraryContexts;
}

void* OSSL_PROVIDER_load(void* /*context*/, const char* /*name*/) {
  return make("OSSL_PROVIDER_load", objects.providers);
}

int OSSL_PROVIDER_unload(void* /*provider*/) {
  --objects.providers;
  return 1;
}

int ERR_set_mark() {
  return 1;
}

int ERR_pop_to_mark() {
  return 1;
}

// With OX_FIPS_CRYPTO, behaves like a system in FIPS mode in some distributions: every context,
// also a new one, has only approved algorithms unless others are requested.
void* EVP_MD_fetch(void* /*context*/, const char* /*name*/, const char* properties) {
  const bool takesOthers = properties != nullptr && std::string_view(properties) == "-fips";
  const bool isRefused = std::getenv("OX_FIPS_CRYPTO") != nullptr && !takesOthers;
  return isRefused ? nullptr : make("EVP_MD_fetch", objects.algorithms);
}

void EVP_MD_free(void* /*algorithm*/) {
  --objects.algorithms;
}

void* EVP_MD_CTX_new() {
  return make("EVP_MD_CTX_new", objects.contexts);
}

void EVP_MD_CTX_free(void* /*context*/) {
  --objects.contexts;
}

int EVP_DigestInit_ex2(void* /*context*/, void* /*algorithm*/, void* /*parameters*/) {
  return isToFail("EVP_DigestInit_ex2") ? 0 : 1;
}

int EVP_DigestUpdate(void* /*context*/, const void* /*bytes*/, std::size_t /*count*/) {
  return isToFail("EVP_DigestUpdate") ? 0 : 1;
}

#ifndef OX_WITHOUT_THE_LAST
int EVP_DigestFinal_ex(void* /*context*/, unsigned char* digest, unsigned* /*size*/) {
  std::memset(digest, 0, 16);
  return isToFail("EVP_DigestFinal_ex") ? 0 : 1;
}
#endif
}
