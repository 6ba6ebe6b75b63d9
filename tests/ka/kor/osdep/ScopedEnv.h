// Test helper: sets an environment variable for a scope and puts the old value back, calling
// tzset both times so that a changed TZ takes effect.
#pragma once

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

class ScopedEnv {
  public:
    ScopedEnv(const char* name, const char* value) : name_(name) {
        if (const char* old = std::getenv(name)) {
            old_ = old;
        }
        setenv(name, value, 1);
        tzset();
    }
    ~ScopedEnv() {
        old_ ? setenv(name_, old_->c_str(), 1) : unsetenv(name_);
        tzset();
    }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

  private:
    const char* name_;
    std::optional<std::string> old_;
};
