#include "TestBroker.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vesta_test {

namespace {

int FreePort() {
    const int s = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t n = sizeof a;
    int port = 0;
    if (::bind(s, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0 &&
        ::getsockname(s, reinterpret_cast<sockaddr*>(&a), &n) == 0) {
        port = ntohs(a.sin_port);
    }
    ::close(s);
    return port;
}

bool Accepts(int port) {
    const int s = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    a.sin_port = htons(static_cast<std::uint16_t>(port));
    const bool ok = ::connect(s, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0;
    ::close(s);
    return ok;
}

}  // namespace

std::string TestBroker::Program() {
    for (const char* p :
         {"/usr/sbin/mosquitto", "/usr/bin/mosquitto", "/usr/local/sbin/mosquitto"}) {
        if (::access(p, X_OK) == 0) {
            return p;
        }
    }
    return std::string();
}

pid_t Spawn(const std::string& program, const std::string& arg1, const std::string& arg2) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        // A child must never outlive a test that died, nor hold the test runner's output pipe:
        // the runner would wait for it forever.
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int null = ::open("/dev/null", O_WRONLY);
        if (null >= 0) {
            ::dup2(null, 1);
            ::dup2(null, 2);
        }
        for (int fd = 3; fd < 1024; ++fd) {
            ::close(fd);
        }
        ::execl(program.c_str(), program.c_str(), arg1.c_str(),
                arg2.empty() ? nullptr : arg2.c_str(), static_cast<char*>(nullptr));
        ::_exit(127);
    }
    return pid;
}

void Kill9(pid_t pid) {
    if (pid > 0) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
    }
}

TestBroker::TestBroker() {
    if (Program().empty()) {
        return;
    }
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern = std::string(tmp != nullptr ? tmp : "/tmp") + "/ka-broker-XXXXXX";
    if (::mkdtemp(&pattern[0]) == nullptr) {
        return;
    }
    dir_ = pattern;
    port_ = FreePort();
    std::ofstream conf(dir_ + "/mosquitto.conf");
    conf << "listener " << port_ << " 127.0.0.1\n"
         << "allow_anonymous true\n"
         << "persistence true\n"
         << "persistence_location " << dir_ << "/\n"
         << "autosave_interval 1\n"
         << "log_dest none\n";
    conf.close();
    start();
}

TestBroker::~TestBroker() {
    if (pid_ > 0) {
        ::kill(pid_, SIGTERM);
        ::waitpid(pid_, nullptr, 0);
    }
    if (!dir_.empty()) {
        std::system(("rm -rf '" + dir_ + "'").c_str());
    }
}

std::string TestBroker::url() const {
    return "mqtt://127.0.0.1:" + std::to_string(port_);
}

void TestBroker::kill9() {
    Kill9(pid_);
    pid_ = -1;
}

bool TestBroker::start() {
    pid_ = Spawn(Program(), "-c", dir_ + "/mosquitto.conf");
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (std::chrono::steady_clock::now() < until) {
        if (Accepts(port_)) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    Kill9(pid_);
    pid_ = -1;
    return false;
}

}  // namespace vesta_test
