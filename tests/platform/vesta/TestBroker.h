// A private mosquitto for one test program: a free loopback port, persistence in a temporary
// directory, killed (-9) and restarted on demand, stopped at the end.
#pragma once

#include <string>

#include <sys/types.h>

namespace vesta_test {

class TestBroker {
  public:
    // The broker program, or empty when mosquitto is not installed.
    static std::string Program();

    // Starts it; available() says whether that worked. With `tls` it listens for mqtts only,
    // with a server certificate for 127.0.0.1 signed by a CA made for it (caFile()); that needs
    // the openssl program. `maxQueued` is how many messages it holds for a client that falls
    // behind before it drops the rest: by default room for all that these tests send at once,
    // however loaded the machine; a small number makes it drop, as a broker under load does.
    explicit TestBroker(bool tls = false, int maxQueued = 100000);
    ~TestBroker();
    TestBroker(const TestBroker&) = delete;
    TestBroker& operator=(const TestBroker&) = delete;

    bool available() const { return pid_ > 0; }
    std::string url() const;
    std::string caFile() const { return dir_ + "/ca.crt"; }
    int port() const { return port_; }
    // Kills it at once, as a crash would.
    void kill9();
    // Starts it again on the same port and persistence; true once it accepts connections.
    bool start();

  private:
    std::string dir_;
    bool tls_ = false;
    int port_ = 0;
    pid_t pid_ = -1;
};

// Runs `program` with `args` as a child; its pid (or -1).
pid_t Spawn(const std::string& program, const std::string& arg1, const std::string& arg2);
void Kill9(pid_t pid);
// Makes a self-signed CA certificate `stem`.crt with its key `stem`.key; false without openssl.
bool MakeCA(const std::string& stem);

}  // namespace vesta_test
