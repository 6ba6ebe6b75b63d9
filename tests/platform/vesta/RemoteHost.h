// An item host in a child process (MqttTestHost --driven), driven over a pipe, so that the
// behaviour suite can hold a provider to its promises with host and client in different
// processes. The child inherits the environment (the broker settings) and dies with its parent.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include <sys/types.h>

#include "ProviderBehaviour.h"

namespace vesta_test {

class RemoteHost : public TestHost {
  public:
    // Starts `program` for `process` and waits until its host is registered; null (after a
    // test failure saying why) when the child does not come up.
    static std::unique_ptr<RemoteHost> Start(const std::string& program,
                                             const std::wstring& process);
    // Asks the child to leave and waits for it; kills it when it does not answer.
    ~RemoteHost() override;

    void refuseWritesFrom(double limit) override;
    std::vector<std::pair<std::wstring, ka::kor::FlexData>> writes() override;
    void unregister() override;
    void reregister() override;
    // The child, for signals.
    pid_t pid() const { return pid_; }

  private:
    RemoteHost(pid_t pid, int to, int from) : pid_(pid), to_(to), from_(from) {}
    int create(const std::wstring& path, const ka::kor::FlexData& value, std::uint32_t rights,
               const std::wstring& description) override;
    void update(int item, const ka::kor::FlexData& value) override;
    void setQuality(int item, std::uint32_t quality, FILETIME time) override;
    void remove(int item) override;
    ka::kor::FlexData value(int item) override;

    // Sends one request and returns the fields of its answer after "ok"; a test failure and
    // no fields on "error", a dead child or no answer within the patience of the suite.
    std::vector<std::string> ask(const std::string& request);
    bool readLine(std::string& line);

    std::mutex mutex_;  // one request at a time, from any thread
    pid_t pid_;
    int to_;
    int from_;
    std::string pending_;
};

}  // namespace vesta_test
