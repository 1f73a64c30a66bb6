#include "KSTSHA256Context.h"

#include <openssl/evp.h>

namespace {

// Fetched once: an implicit fetch inside every EVP_DigestInit_ex takes a lock in OpenSSL 3,
// which four hash workers would contend for on every file.
const EVP_MD *sha256Algorithm()
{
    static EVP_MD *const algorithm = EVP_MD_fetch(nullptr, "SHA256", nullptr);
    return algorithm;
}

} // namespace

KSTSHA256Context::KSTSHA256Context() : m_context(EVP_MD_CTX_new())
{
    reset();
}

KSTSHA256Context::~KSTSHA256Context()
{
    EVP_MD_CTX_free(m_context);
}

void KSTSHA256Context::reset()
{
    m_valid = m_context && sha256Algorithm() &&
              EVP_DigestInit_ex2(m_context, sha256Algorithm(), nullptr) == 1;
}

bool KSTSHA256Context::update(const void *data, std::size_t length)
{
    if (m_valid && length > 0)
        m_valid = EVP_DigestUpdate(m_context, data, length) == 1;
    return m_valid;
}

std::optional<KSTSHA256Digest> KSTSHA256Context::finish()
{
    KSTSHA256Digest digest{};
    unsigned int length = 0;
    const bool finished = m_valid && EVP_DigestFinal_ex(m_context, digest.data(), &length) == 1 &&
                          length == digest.size();
    m_valid = false;
    if (!finished)
        return std::nullopt;
    return digest;
}
