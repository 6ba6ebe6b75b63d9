#include "RemoteHost.h"

#include <chrono>
#include <cmath>
#include <cstdio>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "HostProtocol.h"
#include "RecordingReceiver.h"

namespace vesta_test {

using ka::kor::FlexData;

std::unique_ptr<RemoteHost> RemoteHost::Start(const std::string& program,
                                              const std::wstring& process) {
    // A child that has died must fail the request, not end this process.
    ::signal(SIGPIPE, SIG_IGN);
    int in[2];
    int out[2];
    if (::pipe2(in, O_CLOEXEC) != 0 || ::pipe2(out, O_CLOEXEC) != 0) {
        ADD_FAILURE() << "pipe failed";
        return nullptr;
    }
    const std::string name(process.begin(), process.end());
    const pid_t pid = ::fork();
    if (pid == 0) {
        // Never outlive a test that died; the pipes are its only link to the test.
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::dup2(in[0], 0);
        ::dup2(out[1], 1);
        ::execl(program.c_str(), program.c_str(), "--driven", name.c_str(),
                static_cast<char*>(nullptr));
        ::_exit(127);
    }
    ::close(in[0]);
    ::close(out[1]);
    if (pid < 0) {
        ::close(in[1]);
        ::close(out[0]);
        ADD_FAILURE() << "fork failed";
        return nullptr;
    }
    std::unique_ptr<RemoteHost> host(new RemoteHost(pid, in[1], out[0]));
    std::string line;
    if (!host->readLine(line) || line != "ok") {
        ADD_FAILURE() << "the host process did not register: " << line;
        return nullptr;
    }
    return host;
}

RemoteHost::~RemoteHost() {
    const std::string quit = "quit\n";
    std::string line;
    // A write error (the child has gone) just means there is nothing to wait for.
    const bool asked = ::write(to_, quit.data(), quit.size()) == static_cast<ssize_t>(quit.size());
    if (!asked || !readLine(line)) {
        ::kill(pid_, SIGKILL);
    }
    ::close(to_);
    ::close(from_);
    ::waitpid(pid_, nullptr, 0);
}

bool RemoteHost::readLine(std::string& line) {
    const auto until = std::chrono::steady_clock::now() + kPatience;
    for (;;) {
        const std::size_t end = pending_.find('\n');
        if (end != std::string::npos) {
            line = pending_.substr(0, end);
            pending_.erase(0, end + 1);
            return true;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            until - std::chrono::steady_clock::now());
        pollfd p{from_, POLLIN, 0};
        if (left.count() <= 0 || ::poll(&p, 1, static_cast<int>(left.count())) <= 0) {
            line = "(no answer)";
            return false;
        }
        char buffer[4096];
        const ssize_t n = ::read(from_, buffer, sizeof buffer);
        if (n <= 0) {
            line = "(the host process ended)";
            return false;
        }
        pending_.append(buffer, static_cast<std::size_t>(n));
    }
}

std::vector<std::string> RemoteHost::ask(const std::string& request) {
    std::lock_guard<std::mutex> lock(mutex_);
    const std::string text = request + "\n";
    std::string line;
    if (::write(to_, text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
        !readLine(line) || line.compare(0, 2, "ok") != 0) {
        ADD_FAILURE() << request << ": " << line;
        return {};
    }
    std::vector<std::string> fields = Fields(line);
    fields.erase(fields.begin());
    return fields;
}

int RemoteHost::create(const std::wstring& path, const FlexData& value, std::uint32_t rights,
                       const std::wstring& description) {
    const std::vector<std::string> f =
        ask("create " + WideField(path) + " " + FlexField(value) + " " + std::to_string(rights) +
            " " + WideField(description));
    return f.empty() ? -1 : std::stoi(f[0]);
}

void RemoteHost::update(int item, const FlexData& value) {
    ask("update " + std::to_string(item) + " " + FlexField(value));
}

void RemoteHost::setQuality(int item, std::uint32_t quality, FILETIME time) {
    ask("quality " + std::to_string(item) + " " + std::to_string(quality) + " " +
        std::to_string(time.ticks));
}

void RemoteHost::remove(int item) {
    ask("remove " + std::to_string(item));
}

FlexData RemoteHost::value(int item) {
    const std::vector<std::string> f = ask("value " + std::to_string(item));
    return f.empty() ? FlexData() : FlexFromField(f[0]);
}

void RemoteHost::refuseWritesFrom(double limit) {
    char text[64];
    std::snprintf(text, sizeof text, "refuse %.17g", limit);
    ask(text);
}

std::vector<std::pair<std::wstring, FlexData>> RemoteHost::writes() {
    const std::vector<std::string> f = ask("writes");
    std::vector<std::pair<std::wstring, FlexData>> out;
    for (std::size_t i = 0; i + 1 < f.size(); i += 2) {
        out.emplace_back(WideFromField(f[i]), FlexFromField(f[i + 1]));
    }
    return out;
}

void RemoteHost::unregister() {
    ask("unregister");
}

void RemoteHost::reregister() {
    ask("reregister");
}

}  // namespace vesta_test
