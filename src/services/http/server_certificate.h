#pragma once

#include <openssl/x509_vfy.h>

namespace services {

/// Verifies a server's certificates as X509_verify_cert does, then by the platform's own rules; returns X509_V_OK or
/// the fault. The server's own certificate must name a host in its subject alternative name (libcurl compares the
/// name), allow server authentication in its extended key usage, and be valid for 825 days at most. Every key of the
/// chain, the root's included, must be RSA with 2048 bits at least or ECC with 256. Every signature except the root's
/// must be SHA-2, which OpenSSL checks at security level 2.
int verifyServer(X509_STORE_CTX* certificates);

}  // namespace services
