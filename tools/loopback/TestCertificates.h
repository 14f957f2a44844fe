// A throw-away certificate authority for HTTPS on loopback: tests, the demo
// and the benchmark trust it explicitly while verification stays on.
#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

namespace rqb::loopback {

struct X509Deleter {
  void operator()(X509* certificate) const { X509_free(certificate); }
};
struct KeyDeleter {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
using Certificate = std::unique_ptr<X509, X509Deleter>;
using PrivateKey = std::unique_ptr<EVP_PKEY, KeyDeleter>;

struct ServerCredentials {
  Certificate certificate;
  PrivateKey key;
};

// A self-signed CA made in memory (P-256 keys), valid from a day ago for a day.
class TestCertificateAuthority {
 public:
  explicit TestCertificateAuthority(const std::string& name = "RQBehavior Loopback Test CA");

  // The CA certificate in PEM, for a client's trust store.
  std::string CertificatePem() const;

  // A server certificate for `host` (subject alternative name), signed by
  // this CA.
  ServerCredentials IssueServerCredentials(const std::string& host) const;

 private:
  PrivateKey key_;
  Certificate certificate_;
};

}  // namespace rqb::loopback
