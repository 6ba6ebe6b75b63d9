// Helpers for the host runtime tests: a variant that disposes of itself, and conversions between
// variants and packet bytes through the runtime's own functions.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "gxhost/GxHost.h"
#include "gxhost/GxVariant.h"

namespace gx_test {

typedef std::vector<unsigned char> Bytes;

class Var {
  public:
    Var() : p_(GxVarNew()) {}
    ~Var() { GxVarDispose(p_); }
    Var(const Var&) = delete;
    Var& operator=(const Var&) = delete;
    GxVariant* get() const { return p_; }
    GxVariant** out() { return &p_; }

  private:
    GxVariant* p_;
};

// The packet of a variant, through GxVarToKORFlex.
inline Bytes PacketOf(const GxVariant* v) {
    unsigned char* buffer = nullptr;
    int32_t length = -1;
    EXPECT_EQ(mgNoErr, GxVarToKORFlex(v, &buffer, &length));
    Bytes out(buffer, buffer + (buffer != nullptr ? length : 0));
    DSDisposePtr(buffer);
    return out;
}

inline std::string Text(const GxVariant* v) {
    return GxVarRenderString(v, GX_RENDER_TEXT);
}

inline std::string Json(const GxVariant* v) {
    return GxVarRenderString(v, GX_RENDER_JSON);
}

}  // namespace gx_test
