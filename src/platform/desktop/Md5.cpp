#include "platform/desktop/Md5.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/opensslv.h>
#include <openssl/provider.h>

#include "platform/files/DynamicLibrary.h"

#define OX_STRING_OF(text) #text
#define OX_EXPANDED_STRING_OF(text) OX_STRING_OF(text)

namespace ox {
namespace {

constexpr const char* libraryName = "libcrypto.so." OX_EXPANDED_STRING_OF(OPENSSL_SHLIB_VERSION);

struct Crypto {
  decltype(&::OSSL_LIB_CTX_new) newLibraryContext;
  decltype(&::OSSL_LIB_CTX_free) freeLibraryContext;
  decltype(&::OSSL_PROVIDER_load) loadProvider;
  decltype(&::OSSL_PROVIDER_unload) unloadProvider;
  decltype(&::ERR_set_mark) setErrorMark;
  decltype(&::ERR_pop_to_mark) popErrorsToMark;
  decltype(&::EVP_MD_fetch) fetch;
  decltype(&::EVP_MD_free) free;
  decltype(&::EVP_MD_CTX_new) newContext;
  decltype(&::EVP_MD_CTX_free) freeContext;
  decltype(&::EVP_DigestInit_ex2) initialise;
  decltype(&::EVP_DigestUpdate) update;
  decltype(&::EVP_DigestFinal_ex) finish;

  bool load() noexcept {
    DynamicLibrary library(libraryName);
    library.find("OSSL_LIB_CTX_new", newLibraryContext);
    library.find("OSSL_LIB_CTX_free", freeLibraryContext);
    library.find("OSSL_PROVIDER_load", loadProvider);
    library.find("OSSL_PROVIDER_unload", unloadProvider);
    library.find("ERR_set_mark", setErrorMark);
    library.find("ERR_pop_to_mark", popErrorsToMark);
    library.find("EVP_MD_fetch", fetch);
    library.find("EVP_MD_free", free);
    library.find("EVP_MD_CTX_new", newContext);
    library.find("EVP_MD_CTX_free", freeContext);
    library.find("EVP_DigestInit_ex2", initialise);
    library.find("EVP_DigestUpdate", update);
    library.find("EVP_DigestFinal_ex", finish);
    return library.hasAll();
  }
};

// libcrypto with MD5 taken from its default provider in a context of our own, which no
// configuration file and no property of the process's own context reaches.
class Md5Library {
 public:
  static const Md5Library* get() {
    static LazyValue<Md5Library> library;
    return library.get([]() -> std::unique_ptr<Md5Library> {
      auto made = std::make_unique<Md5Library>();
      return made->load() ? std::move(made) : nullptr;
    });
  }

  Md5Library() = default;
  Md5Library(const Md5Library&) = delete;
  Md5Library& operator=(const Md5Library&) = delete;
  ~Md5Library() {
    if (algorithm_ != nullptr) {
      crypto_.free(algorithm_);
    }
    if (provider_ != nullptr) {
      crypto_.unloadProvider(provider_);
    }
    if (context_ != nullptr) {
      crypto_.freeLibraryContext(context_);
    }
  }

  const Crypto& crypto() const noexcept { return crypto_; }

  EVP_MD_CTX* start() const noexcept {
    EVP_MD_CTX* context = crypto_.newContext();
    if (context != nullptr && crypto_.initialise(context, algorithm_, nullptr) != 1) {
      crypto_.freeContext(context);
      context = nullptr;
    }
    return context;
  }

 private:
  bool load() noexcept {
    if (!crypto_.load()) {
      return false;
    }
    // The errors that the thread has are its own; none of ours are left with it.
    crypto_.setErrorMark();
    context_ = crypto_.newLibraryContext();
    provider_ = context_ == nullptr ? nullptr : crypto_.loadProvider(context_, "default");
    algorithm_ = provider_ == nullptr ? nullptr : crypto_.fetch(context_, "MD5", "-fips");
    crypto_.popErrorsToMark();
    return algorithm_ != nullptr;
  }

  Crypto crypto_{};
  OSSL_LIB_CTX* context_ = nullptr;
  OSSL_PROVIDER* provider_ = nullptr;
  EVP_MD* algorithm_ = nullptr;
};

// Of a digest in the making, which needs the library to be there.
const Crypto& crypto() {
  return Md5Library::get()->crypto();
}

EVP_MD_CTX* contextOf(void* context) noexcept {
  return static_cast<EVP_MD_CTX*>(context);
}

}  // namespace

std::optional<Md5> Md5::start() {
  const Md5Library* const library = Md5Library::get();
  EVP_MD_CTX* const context = library == nullptr ? nullptr : library->start();
  return context == nullptr ? std::nullopt : std::optional<Md5>(Md5(context));
}

Md5::~Md5() {
  if (context_ != nullptr) {
    crypto().freeContext(contextOf(context_));
  }
}

bool Md5::add(const void* bytes, std::size_t count) noexcept {
  return crypto().update(contextOf(context_), bytes, count) == 1;
}

std::optional<Md5::Digest> Md5::finish() noexcept {
  Digest digest{};
  if (crypto().finish(contextOf(context_), digest.data(), nullptr) != 1) {
    return std::nullopt;
  }
  return digest;
}

}  // namespace ox
