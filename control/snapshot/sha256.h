// SHA-256.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

struct evp_md_ctx_st;

class Sha256 {
public:
    Sha256();
    ~Sha256();

    void Add(std::string_view data);

    // The sum of what was added, 64 hexadecimal digits; '' when the library has failed.
    std::string Sum();

private:
    struct Free {
        void operator()(evp_md_ctx_st* context) const;
    };

    std::unique_ptr<evp_md_ctx_st, Free> m_context;
    bool m_failed;
};
