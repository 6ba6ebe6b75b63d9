// Test helper: sets an environment variable for a scope and puts the old value back, calling
// tzset both times so that a changed TZ takes effect.
#pragma once

#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>

class ScopedEnv {
  public:
    ScopedEnv(const char* name, const char* value) : name_(name) {
        if (const char* old = std::getenv(name)) {
            old_.reset(new std::string(old));
        }
        setenv(name, value, 1);
        tzset();
    }
    ~ScopedEnv() {
        if (old_ != nullptr) {
            setenv(name_, old_->c_str(), 1);
        } else {
            unsetenv(name_);
        }
        tzset();
    }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

  private:
    const char* name_;
    std::unique_ptr<std::string> old_;
};
