/// The certificates of the service, and those of its clients.
#pragma once

#include <gnutls/abstract.h>
#include <gnutls/gnutls.h>
#include <gnutls/x509.h>
#include <qv/tokens.h>

#include <filesystem>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace qvcmsd {

/// Files in PEM format.
struct TlsFiles {
  std::filesystem::path certificate;  ///< with those that lead to its authority
  std::filesystem::path key;
  std::filesystem::path client_ca;  ///< empty: clients show no certificates
};

/// Thread-safe. One at a time in a process.
class Tls {
 public:
  /// Throws `std::runtime_error` when a file cannot be used.
  explicit Tls(TlsFiles files);
  ~Tls();
  Tls(const Tls&) = delete;
  Tls& operator=(const Tls&) = delete;

  /// Reads the files again, for connections that begin from now on. Throws `std::runtime_error`; the old ones hold
  /// then.
  void Reread();

  /// The authorities of clients, in PEM format; empty if clients show no certificates.
  std::string client_ca() const;
  bool wants_client_certificates() const { return !files_.client_ca.empty(); }
  /// What the client of a connection may do by its certificate, which an authority of ours must have made for clients.
  /// The subject's common name holds the words of a scope, joined by "+": "slave:7", "read+metrics".
  /// None: it has shown none, or none that holds.
  std::optional<qv::Scope> ScopeOf(gnutls_session_t session) const;

  /// For the server: gives each new connection the certificate.
  static int Retrieve(gnutls_session_t session, const gnutls_datum_t* authorities, int authority_count,
                      const gnutls_pk_algorithm_t* algorithms, int algorithm_count, gnutls_pcert_st** certificates,
                      unsigned int* certificate_count, gnutls_privkey_t* key);

 private:
  struct Loaded;
  std::shared_ptr<Loaded> Load() const;
  std::shared_ptr<Loaded> current() const;

  const TlsFiles files_;
  mutable std::mutex mutex_;
  std::list<std::shared_ptr<Loaded>> loaded_;  ///< the newest first; handshakes under way use older ones
};

}  // namespace qvcmsd
