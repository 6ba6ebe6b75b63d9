// Test helper: selects a locale for the lifetime of the object and restores the caller's, so that
// no test depends on the environment's LANG.
#pragma once

#include <gtest/gtest.h>

#include <clocale>
#include <string>

namespace ka::kor::test {

class LocaleScope {
  public:
    explicit LocaleScope(const char* name) : saved_(std::setlocale(LC_ALL, nullptr)) {
        if (std::setlocale(LC_ALL, name) == nullptr) {
            ADD_FAILURE() << "locale " << name << " is not available";
        }
    }
    ~LocaleScope() { std::setlocale(LC_ALL, saved_.c_str()); }
    LocaleScope(const LocaleScope&) = delete;
    LocaleScope& operator=(const LocaleScope&) = delete;

  private:
    std::string saved_;
};

}  // namespace ka::kor::test
