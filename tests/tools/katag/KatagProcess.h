// Runs the built katag as a child process, as a user would, and collects what it printed and its
// exit status. Standard input comes from a file and output goes to files, so no pipe can fill up
// and stall either side; a child that hangs is killed after a bound.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace ka_test {

struct KatagRun {
    int status = -1;  // the exit status, -1 when katag did not exit normally or could not start
    std::string out;
    std::string err;
};

inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The environment of a katag child: the C.UTF-8 locale, so that non-ASCII text prints the same
// everywhere, and the rest of this process's environment.
inline std::vector<std::string> ChildEnvironment() {
    std::vector<std::string> env = {"LC_ALL=C.UTF-8"};
    for (char** e = environ; *e != nullptr; ++e) {
        if (std::string(*e).compare(0, 7, "LC_ALL=") != 0) {
            env.push_back(*e);
        }
    }
    return env;
}

inline std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> p;
    for (std::string& t : texts) {
        p.push_back(&t[0]);
    }
    p.push_back(nullptr);
    return p;
}

// Runs katag with args and input on standard input, in the C.UTF-8 locale so that non-ASCII text
// prints the same everywhere. The child is killed when it runs longer than timeout.
inline KatagRun RunKatag(const std::vector<std::string>& args, const std::string& input = "",
                         std::chrono::seconds timeout = std::chrono::seconds(60)) {
    char dirTemplate[] = "/tmp/katag_test_XXXXXX";
    KatagRun run;
    if (::mkdtemp(dirTemplate) == nullptr) {
        run.err = "mkdtemp failed";
        return run;
    }
    const std::string dir = dirTemplate;
    const std::string in = dir + "/in", out = dir + "/out", err = dir + "/err";
    std::ofstream(in, std::ios::binary) << input;

    std::vector<std::string> env = ChildEnvironment();
    std::vector<std::string> argv = {KATAG_PATH};
    argv.insert(argv.end(), args.begin(), args.end());
    std::vector<char*> argvp = Pointers(argv), envp = Pointers(env);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, in.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t pid = 0;
    const int spawned = ::posix_spawn(&pid, argvp[0], &actions, nullptr, argvp.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);

    if (spawned == 0) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        int status = 0;
        pid_t done = 0;
        while ((done = ::waitpid(pid, &status, WNOHANG)) == 0 &&
               std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        if (done == 0) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, &status, 0);
        } else if (done == pid && WIFEXITED(status)) {
            run.status = WEXITSTATUS(status);
        }
        run.out = ReadFile(out);
        run.err = ReadFile(err);
    } else {
        run.err = "posix_spawn failed";
    }
    for (const std::string& f : {in, out, err}) {
        std::remove(f.c_str());
    }
    ::rmdir(dir.c_str());
    return run;
}

// A katag that runs beside the test (serve, monitor): its output goes to files that the test reads
// while it runs. The destructor kills a child that is still running.
class KatagChild {
  public:
    explicit KatagChild(const std::vector<std::string>& args) {
        char dirTemplate[] = "/tmp/katag_child_XXXXXX";
        if (::mkdtemp(dirTemplate) == nullptr) {
            return;
        }
        dir_ = dirTemplate;
        std::vector<std::string> env = ChildEnvironment();
        std::vector<std::string> argv = {KATAG_PATH};
        argv.insert(argv.end(), args.begin(), args.end());
        std::vector<char*> argvp = Pointers(argv), envp = Pointers(env);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 1, (dir_ + "/out").c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0600);
        posix_spawn_file_actions_addopen(&actions, 2, (dir_ + "/err").c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (::posix_spawn(&pid_, argvp[0], &actions, nullptr, argvp.data(), envp.data()) != 0) {
            pid_ = -1;
        }
        posix_spawn_file_actions_destroy(&actions);
    }
    ~KatagChild() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
        for (const char* f : {"/out", "/err"}) {
            std::remove((dir_ + f).c_str());
        }
        ::rmdir(dir_.c_str());
    }
    KatagChild(const KatagChild&) = delete;
    KatagChild& operator=(const KatagChild&) = delete;

    bool started() const { return pid_ > 0; }
    std::string out() const { return ReadFile(dir_ + "/out"); }
    std::string err() const { return ReadFile(dir_ + "/err"); }

    // Waits until standard output holds text, at most timeout; true when it does.
    bool waitForOutput(const std::string& text,
                       std::chrono::milliseconds timeout = std::chrono::seconds(10)) const {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (out().find(text) == std::string::npos) {
            if (std::chrono::steady_clock::now() >= deadline) {
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return true;
    }

    // Sends signal and waits (at most timeout, then kills) for the exit status; -1 when the child
    // did not exit normally.
    int stop(int signal, std::chrono::seconds timeout = std::chrono::seconds(10)) {
        if (pid_ <= 0) {
            return -1;
        }
        ::kill(pid_, signal);
        return wait(timeout);
    }

    // Waits (at most timeout, then kills) for the child to end by itself; its exit status.
    int wait(std::chrono::seconds timeout = std::chrono::seconds(10)) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        int status = 0;
        pid_t done = 0;
        while ((done = ::waitpid(pid_, &status, WNOHANG)) == 0 &&
               std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        if (done == 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, &status, 0);
        }
        pid_ = -1;
        return done == 0 || !WIFEXITED(status) ? -1 : WEXITSTATUS(status);
    }

  private:
    std::string dir_;
    pid_t pid_ = -1;
};

}  // namespace ka_test
