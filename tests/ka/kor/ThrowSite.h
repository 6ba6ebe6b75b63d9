// Helper for tests of failures: what an expected library exception recorded, as one text that a
// single assertion compares.
#pragma once

#include <string>

namespace ka_test {

// "file:line: what()" of the E that f throws, or "nothing thrown". An exception of another type
// propagates and fails the test.
template <class E, class F>
std::string ThrowSite(F f) {
    try {
        f();
    } catch (const E& e) {
        const std::string file = e.file() == nullptr ? "(no file)" : e.file();
        return file + ":" + std::to_string(e.line()) + ": " + e.what();
    }
    return "nothing thrown";
}

}  // namespace ka_test
