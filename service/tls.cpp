#include "tls.h"

#include <array>
#include <atomic>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace qvcmsd {
namespace {

/// Handshakes end within seconds: whoever began before so many rereadings is done.
constexpr std::size_t kKept = 4;
constexpr unsigned kMostCertificates = 16;

std::atomic<const Tls*> the_tls = nullptr;

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  if (!file || !(text << file.rdbuf())) throw std::runtime_error("cannot read " + path.string());
  return text.str();
}

gnutls_datum_t DatumOf(const std::string& text) {
  // GnuTLS reads from it only; its type has no const.
  return {reinterpret_cast<unsigned char*>(const_cast<char*>(text.data())), static_cast<unsigned>(text.size())};
}

void Check(int result, const std::filesystem::path& path) {
  if (result < 0) throw std::runtime_error("cannot use " + path.string() + ": " + gnutls_strerror(result));
}

std::vector<std::string> SplitAtPlus(const std::string& text) {
  std::vector<std::string> words;
  std::istringstream stream(text);
  for (std::string word; std::getline(stream, word, '+');) words.push_back(word);
  return words;
}

/// The common name of a certificate; empty if it has none.
std::string CommonNameOf(gnutls_x509_crt_t certificate) {
  std::array<char, 256> name{};
  std::size_t size = name.size();
  if (gnutls_x509_crt_get_dn_by_oid(certificate, GNUTLS_OID_X520_COMMON_NAME, 0, 0, name.data(), &size) < 0) return "";
  return {name.data(), size};
}

/// The certificates that the other side of a connection has shown, its own first.
class PeerCertificates {
 public:
  explicit PeerCertificates(gnutls_session_t session) {
    unsigned count = 0;
    const gnutls_datum_t* const texts = gnutls_certificate_get_peers(session, &count);
    if (texts == nullptr || count > kMostCertificates) return;
    for (unsigned i = 0; i < count; ++i) {
      gnutls_x509_crt_t certificate = nullptr;
      if (gnutls_x509_crt_init(&certificate) < 0) return;
      all_.push_back(certificate);
      if (gnutls_x509_crt_import(certificate, &texts[i], GNUTLS_X509_FMT_DER) < 0) is_damaged_ = true;
    }
  }
  ~PeerCertificates() {
    for (gnutls_x509_crt_t certificate : all_) gnutls_x509_crt_deinit(certificate);
  }
  PeerCertificates(const PeerCertificates&) = delete;
  PeerCertificates& operator=(const PeerCertificates&) = delete;

  bool are_usable() const { return !all_.empty() && !is_damaged_; }
  std::vector<gnutls_x509_crt_t>& all() { return all_; }

 private:
  std::vector<gnutls_x509_crt_t> all_;
  bool is_damaged_ = false;
};

}  // namespace

struct Tls::Loaded {
  Loaded() = default;
  ~Loaded() {
    for (unsigned i = 0; i < count; ++i) gnutls_pcert_deinit(&certificates[i]);
    if (key != nullptr) gnutls_privkey_deinit(key);
    if (authorities != nullptr) gnutls_x509_trust_list_deinit(authorities, 1);
  }
  Loaded(const Loaded&) = delete;
  Loaded& operator=(const Loaded&) = delete;

  std::array<gnutls_pcert_st, kMostCertificates> certificates{};
  unsigned count = 0;
  gnutls_privkey_t key = nullptr;
  gnutls_x509_trust_list_t authorities = nullptr;
};

Tls::Tls(TlsFiles files) : files_(std::move(files)) {
  loaded_.push_front(Load());
  the_tls = this;
}

Tls::~Tls() { the_tls = nullptr; }

std::shared_ptr<Tls::Loaded> Tls::Load() const {
  auto loaded = std::make_shared<Loaded>();
  const std::string certificate = ReadFile(files_.certificate);
  const gnutls_datum_t certificate_datum = DatumOf(certificate);
  unsigned count = kMostCertificates;
  Check(gnutls_pcert_list_import_x509_raw(loaded->certificates.data(), &count, &certificate_datum, GNUTLS_X509_FMT_PEM,
                                          0),
        files_.certificate);
  loaded->count = count;
  const std::string key = ReadFile(files_.key);
  const gnutls_datum_t key_datum = DatumOf(key);
  Check(gnutls_privkey_init(&loaded->key), files_.key);
  Check(gnutls_privkey_import_x509_raw(loaded->key, &key_datum, GNUTLS_X509_FMT_PEM, nullptr, 0), files_.key);
  if (!wants_client_certificates()) return loaded;
  const std::string authorities = ReadFile(files_.client_ca);
  const gnutls_datum_t authorities_datum = DatumOf(authorities);
  Check(gnutls_x509_trust_list_init(&loaded->authorities, 0), files_.client_ca);
  const int added =
      gnutls_x509_trust_list_add_trust_mem(loaded->authorities, &authorities_datum, nullptr, GNUTLS_X509_FMT_PEM, 0, 0);
  if (added < 1) throw std::runtime_error("cannot use " + files_.client_ca.string() + ": it has no certificate");
  return loaded;
}

std::string Tls::client_ca() const { return wants_client_certificates() ? ReadFile(files_.client_ca) : ""; }

void Tls::Reread() {
  auto fresh = Load();
  const std::lock_guard lock(mutex_);
  loaded_.push_front(std::move(fresh));
  if (loaded_.size() > kKept) loaded_.pop_back();
}

std::shared_ptr<Tls::Loaded> Tls::current() const {
  const std::lock_guard lock(mutex_);
  return loaded_.front();
}

std::optional<qv::Scope> Tls::ScopeOf(gnutls_session_t session) const {
  if (!wants_client_certificates()) return std::nullopt;
  PeerCertificates peer(session);
  if (!peer.are_usable()) return std::nullopt;
  const std::shared_ptr<Loaded> loaded = current();
  gnutls_typed_vdata_st purpose{};
  std::string client_purpose = GNUTLS_KP_TLS_WWW_CLIENT;
  purpose.type = GNUTLS_DT_KEY_PURPOSE_OID;
  purpose.data = reinterpret_cast<unsigned char*>(client_purpose.data());
  unsigned faults = 0;
  const int result =
      gnutls_x509_trust_list_verify_crt2(loaded->authorities, peer.all().data(),
                                         static_cast<unsigned>(peer.all().size()), &purpose, 1, 0, &faults, nullptr);
  if (result < 0 || faults != 0) return std::nullopt;
  try {
    return qv::Scope::Of(SplitAtPlus(CommonNameOf(peer.all().front())));
  } catch (const qv::Refusal&) {
    return std::nullopt;
  }
}

int Tls::Retrieve(gnutls_session_t, const gnutls_datum_t*, int, const gnutls_pk_algorithm_t*, int,
                  gnutls_pcert_st** certificates, unsigned int* certificate_count, gnutls_privkey_t* key) {
  const Tls* const tls = the_tls;
  if (tls == nullptr) return -1;
  const std::shared_ptr<Loaded> loaded = tls->current();
  *certificates = loaded->certificates.data();
  *certificate_count = loaded->count;
  *key = loaded->key;
  return 0;
}

}  // namespace qvcmsd
