#include "control/snapshot/sha256.h"

#include <openssl/evp.h>

#include <array>

void Sha256::Free::operator()(evp_md_ctx_st* context) const { EVP_MD_CTX_free(context); }

Sha256::Sha256()
    : m_context(EVP_MD_CTX_new()),
      m_failed(!m_context || EVP_DigestInit_ex(m_context.get(), EVP_sha256(), nullptr) != 1) {}

Sha256::~Sha256() = default;

void Sha256::Add(std::string_view data) {
    m_failed = m_failed || EVP_DigestUpdate(m_context.get(), data.data(), data.size()) != 1;
}

std::string Sha256::Sum() {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned size = 0;
    if (m_failed || EVP_DigestFinal_ex(m_context.get(), digest.data(), &size) != 1)
        return "";
    m_failed = true;  // a sum is taken once
    std::string text;
    for (unsigned i = 0; i < size; ++i) {
        text += "0123456789abcdef"[digest[i] >> 4];
        text += "0123456789abcdef"[digest[i] & 15];
    }
    return text;
}
