#pragma once

#include <QtGlobal>

#include <array>
#include <cstddef>
#include <optional>

/// A SHA-256 digest: 32 bytes.
using KSTSHA256Digest = std::array<quint8, 32>;

/// A running SHA-256 computation on OpenSSL's EVP interface (which uses the processor's SHA
/// instructions where it has them). The algorithm is fetched once per process; a context
/// can be reused for the next digest with reset().
///
/// Not thread-safe: one context per thread at a time.
class KSTSHA256Context
{
public:
    /// A context ready for update(). isValid() is false when OpenSSL could not provide one.
    KSTSHA256Context();
    ~KSTSHA256Context();
    KSTSHA256Context(const KSTSHA256Context &) = delete;
    KSTSHA256Context &operator=(const KSTSHA256Context &) = delete;

    bool isValid() const { return m_valid; }
    /// Starts a new digest, forgetting what was fed.
    void reset();
    /// Feeds @p length bytes; false once the context has failed.
    bool update(const void *data, std::size_t length);
    /// Finishes the digest; nothing when the context failed on the way. The context must be
    /// reset() before it is fed again.
    std::optional<KSTSHA256Digest> finish();

private:
    struct evp_md_ctx_st *m_context = nullptr;
    bool m_valid = false;
};
