#include "platform/desktop/Md5.h"

#include <glib.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/opensslv.h>
#include <openssl/provider.h>

#include "platform/files/DynamicLibrary.h"

namespace ox {
namespace {

// libcrypto with MD5 taken from its default provider in a context of our own, which no
// configuration file and no property of the process's own context reaches.
struct Crypto : DynamicLibrary {
  Crypto() noexcept : DynamicLibrary("libcrypto.so." G_STRINGIFY(OPENSSL_SHLIB_VERSION)) {
    if (!isUsable()) {
      return;
    }
    // The errors that the thread has are its own; none of ours are left with it.
    setErrorMark();
    context.reset(newContext());
    provider.reset(context ? loadProvider(context.get(), "default") : nullptr);
    md5.reset(provider ? fetch(context.get(), "MD5", "-fips") : nullptr);
    popErrorsToMark();
    isUsable_ = md5 != nullptr;
  }

  decltype(&::ERR_set_mark) setErrorMark = find("ERR_set_mark");
  decltype(&::ERR_pop_to_mark) popErrorsToMark = find("ERR_pop_to_mark");
  decltype(&::OSSL_LIB_CTX_new) newContext = find("OSSL_LIB_CTX_new");
  decltype(&::OSSL_LIB_CTX_free) freeContext = find("OSSL_LIB_CTX_free");
  decltype(&::OSSL_PROVIDER_load) loadProvider = find("OSSL_PROVIDER_load");
  decltype(&::OSSL_PROVIDER_unload) unloadProvider = find("OSSL_PROVIDER_unload");
  decltype(&::EVP_MD_fetch) fetch = find("EVP_MD_fetch");
  decltype(&::EVP_MD_free) freeAlgorithm = find("EVP_MD_free");
  decltype(&::EVP_MD_CTX_new) newDigest = find("EVP_MD_CTX_new");
  decltype(&::EVP_MD_CTX_free) freeDigest = find("EVP_MD_CTX_free");
  decltype(&::EVP_DigestInit_ex2) initialise = find("EVP_DigestInit_ex2");
  decltype(&::EVP_DigestUpdate) update = find("EVP_DigestUpdate");
  decltype(&::EVP_DigestFinal_ex) finish = find("EVP_DigestFinal_ex");

  std::unique_ptr<OSSL_LIB_CTX, decltype(freeContext)> context{nullptr, freeContext};
  std::unique_ptr<OSSL_PROVIDER, decltype(unloadProvider)> provider{nullptr, unloadProvider};
  std::unique_ptr<EVP_MD, decltype(freeAlgorithm)> md5{nullptr, freeAlgorithm};
};

// Of a digest in the making, which needs the library to be there.
const Crypto& crypto() {
  return *sharedLibrary<Crypto>();
}

}  // namespace

void Md5::Free::operator()(EVP_MD_CTX* context) const noexcept {
  crypto().freeDigest(context);
}

std::optional<Md5> Md5::start() {
  const Crypto* const library = sharedLibrary<Crypto>();
  std::optional<Md5> digest(Md5(library != nullptr ? library->newDigest() : nullptr));
  EVP_MD_CTX* const context = digest->context_.get();
  if (context == nullptr || library->initialise(context, library->md5.get(), nullptr) != 1) {
    digest.reset();
  }
  return digest;
}

bool Md5::add(const void* bytes, std::size_t count) noexcept {
  return crypto().update(context_.get(), bytes, count) == 1;
}

std::optional<Md5::Digest> Md5::finish() noexcept {
  Digest digest{};
  const bool isDone = crypto().finish(context_.get(), digest.data(), nullptr) == 1;
  return isDone ? std::optional(digest) : std::nullopt;
}

}  // namespace ox
