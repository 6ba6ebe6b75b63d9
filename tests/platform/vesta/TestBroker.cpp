#include "TestBroker.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <pwd.h>
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

bool MakeCA(const std::string& stem) {
    // Elliptic-curve keys: made in milliseconds, where RSA ones would slow every run.
    const std::string command =
        "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 "
        "-nodes -days 1 -subj /CN=ka-test-ca -keyout '" +
        stem + ".key' -out '" + stem + ".crt' >/dev/null 2>&1";
    return std::system(command.c_str()) == 0;
}

namespace {

// A server certificate for 127.0.0.1 signed by the CA `dir`/ca.
bool MakeServerCertificate(const std::string& dir) {
    std::ofstream(dir + "/server.ext") << "subjectAltName=IP:127.0.0.1\n";
    const std::string command =
        "cd '" + dir +
        "' && openssl req -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes "
        "-subj /CN=127.0.0.1 -keyout server.key -out server.csr && "
        "openssl x509 -req -in server.csr -CA ca.crt -CAkey ca.key -CAcreateserial -days 1 "
        "-extfile server.ext -out server.crt";
    return std::system(("(" + command + ") >/dev/null 2>&1").c_str()) == 0;
}

}  // namespace

TestBroker::TestBroker(bool tls, int maxQueued) : tls_(tls) {
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
    if (tls && !(MakeCA(dir_ + "/ca") && MakeServerCertificate(dir_))) {
        return;
    }
    std::ofstream conf(dir_ + "/mosquitto.conf");
    conf << "listener " << port_ << " 127.0.0.1\n";
    if (tls) {
        conf << "cafile " << dir_ << "/ca.crt\ncertfile " << dir_ << "/server.crt\nkeyfile " << dir_
             << "/server.key\n";
    }
    conf << "allow_anonymous true\n"
         << "persistence true\n"
         << "persistence_location " << dir_ << "/\n"
         << "autosave_interval 1\n"
         << "log_dest none\n";
    conf << "max_queued_messages " << maxQueued << "\n";
    conf.close();
    // Started as root, mosquitto runs as its own user: without the directory it could neither
    // read the key nor save its database, and persistence would be off without a word.
    if (::geteuid() == 0 && ::getpwnam("mosquitto") != nullptr) {
        std::system(("chown -R mosquitto: '" + dir_ + "'").c_str());
    }
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
    return (tls_ ? "mqtts://127.0.0.1:" : "mqtt://127.0.0.1:") + std::to_string(port_);
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
