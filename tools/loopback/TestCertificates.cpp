#include "TestCertificates.h"

#include <openssl/bio.h>
#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <stdexcept>

namespace rqb::loopback {
namespace {

void Check(bool ok, const char* what) {
  if (!ok) throw std::runtime_error(std::string("test certificate: ") + what);
}

PrivateKey NewKey() {
  PrivateKey key(EVP_EC_gen("P-256"));
  Check(key != nullptr, "key generation failed");
  return key;
}

void AddExtension(X509* certificate, X509* issuer, int nid, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value);
  Check(extension != nullptr, "bad extension");
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

Certificate NewCertificate(EVP_PKEY* subject_key, const std::string& common_name) {
  Certificate certificate(X509_new());
  Check(certificate != nullptr, "allocation failed");
  X509_set_version(certificate.get(), 2);
  unsigned char serial[16];
  RAND_bytes(serial, sizeof serial);
  serial[0] &= 0x7F;
  BIGNUM* serial_number = BN_bin2bn(serial, sizeof serial, nullptr);
  BN_to_ASN1_INTEGER(serial_number, X509_get_serialNumber(certificate.get()));
  BN_free(serial_number);
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -24 * 3600);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 24 * 3600);
  X509_set_pubkey(certificate.get(), subject_key);
  X509_NAME* name = X509_get_subject_name(certificate.get());
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                             reinterpret_cast<const unsigned char*>(common_name.c_str()), -1, -1,
                             0);
  return certificate;
}

}  // namespace

TestCertificateAuthority::TestCertificateAuthority(const std::string& name)
    : key_(NewKey()), certificate_(NewCertificate(key_.get(), name)) {
  X509* ca = certificate_.get();
  X509_set_issuer_name(ca, X509_get_subject_name(ca));
  AddExtension(ca, ca, NID_basic_constraints, "critical,CA:TRUE");
  AddExtension(ca, ca, NID_key_usage, "critical,keyCertSign,cRLSign");
  AddExtension(ca, ca, NID_subject_key_identifier, "hash");
  Check(X509_sign(ca, key_.get(), EVP_sha256()) > 0, "CA signing failed");
}

std::string TestCertificateAuthority::CertificatePem() const {
  BIO* bio = BIO_new(BIO_s_mem());
  PEM_write_bio_X509(bio, certificate_.get());
  char* data = nullptr;
  const long size = BIO_get_mem_data(bio, &data);
  std::string pem(data, static_cast<std::size_t>(size));
  BIO_free(bio);
  return pem;
}

ServerCredentials TestCertificateAuthority::IssueServerCredentials(const std::string& host) const {
  ServerCredentials credentials{nullptr, NewKey()};
  credentials.certificate = NewCertificate(credentials.key.get(), host);
  X509* server = credentials.certificate.get();
  X509_set_issuer_name(server, X509_get_subject_name(certificate_.get()));
  AddExtension(server, certificate_.get(), NID_basic_constraints, "critical,CA:FALSE");
  AddExtension(server, certificate_.get(), NID_key_usage, "critical,digitalSignature");
  AddExtension(server, certificate_.get(), NID_ext_key_usage, "serverAuth");
  AddExtension(server, certificate_.get(), NID_subject_alt_name, ("DNS:" + host).c_str());
  AddExtension(server, certificate_.get(), NID_authority_key_identifier, "keyid:always");
  Check(X509_sign(server, key_.get(), EVP_sha256()) > 0, "server signing failed");
  return credentials;
}

}  // namespace rqb::loopback
