// Helpers for tests that run several processes. Children are forked, end with _exit (never
// returning into the test framework), report through their exit status or a pipe, and die by an
// alarm if they hang, so the parent's waits for them are bounded too.
#pragma once

#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "ka/kor/StringBase.h"

namespace ka_test {

// A name no other test, test process or earlier run uses.
inline std::string UniqueName(const std::string& tag) {
    static int counter = 0;
    return "test_" + tag + "_" + std::to_string(::getpid()) + "_" + std::to_string(++counter);
}

// text with its ASCII letters in upper case.
inline std::string Upper(std::string text) {
    for (char& c : text) {
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    return text;
}

// The wide form of an ASCII text, whatever the locale.
inline ka::kor::String Wide(const std::string& text) {
    return ka::kor::String(std::wstring(text.begin(), text.end()).c_str());
}

inline bool FileExists(const std::string& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

// This process's descriptors open on the file now at path. They are looked at through
// /proc/self/fd, not fstat, which ThreadSanitizer counts as a use racing with another thread's
// open.
inline std::vector<int> DescriptorsOn(const std::string& path) {
    std::vector<int> fds;
    struct stat want, st;
    for (int fd = 0; fd < 1024 && ::stat(path.c_str(), &want) == 0; ++fd) {
        const std::string link = "/proc/self/fd/" + std::to_string(fd);
        if (::stat(link.c_str(), &st) == 0 && st.st_ino == want.st_ino &&
            st.st_dev == want.st_dev) {
            fds.push_back(fd);
        }
    }
    return fds;
}

// Removes a file at the end of a scope (named mutexes' lock files are never deleted for us).
struct Unlink {
    std::string path;
    ~Unlink() { ::unlink(path.c_str()); }
};

// Forks a child that exits with what body returns (99 when it throws); it dies after 20 s.
template <class Body>
pid_t Spawn(Body body) {
    std::fflush(nullptr);  // or the child would print the parent's buffered output again
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::alarm(20);
        int status = 99;
        try {
            status = body();
        } catch (...) {
        }
        ::_exit(status);
    }
    return pid;
}

// The exit status of pid, -1 when it did not exit normally; kill first sends it SIGKILL.
inline int WaitForChild(pid_t pid, bool kill = false) {
    int status = 0;
    if (pid <= 0 || (kill && ::kill(pid, SIGKILL) != 0) || ::waitpid(pid, &status, 0) != pid) {
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// One-character messages from one process to another.
class Pipe {
  public:
    Pipe() { static_cast<void>(::pipe(fds_)); }
    ~Pipe() {
        ::close(fds_[0]);
        ::close(fds_[1]);
    }
    void send(char c) { static_cast<void>(::write(fds_[1], &c, 1)); }
    // The next message, or 0 when none comes within 10 s.
    char receive() {
        pollfd p = {fds_[0], POLLIN, 0};
        char c = 0;
        return ::poll(&p, 1, 10000) == 1 && ::read(fds_[0], &c, 1) == 1 ? c : 0;
    }

  private:
    int fds_[2] = {-1, -1};
};

}  // namespace ka_test
