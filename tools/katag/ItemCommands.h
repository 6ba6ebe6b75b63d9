// The item commands as functions, so that `katag demo` runs the very code that `katag get`, `put`
// and `monitor` run. Each prints its report on out and its failures on err, and returns the exit
// status. The caller has chosen the broker and started the product (ProductSession).
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace katag {

struct GetOptions {
    std::vector<std::string> urls;
    double wait = 1.0;  // seconds for all subscriptions and first values together
    bool terse = false;
    bool all = false;
    bool json = false;
    std::string broker;
};
int RunGet(const GetOptions& o, std::ostream& out, std::ostream& err);

struct PutOptions {
    std::string url;
    std::string value;
    double wait = 1.0;
    bool terse = false;
    bool json = false;
    std::string broker;
};
int RunPut(const PutOptions& o, std::ostream& out, std::ostream& err);

struct MonitorOptions {
    std::vector<std::string> urls;
    std::int64_t count = 0;  // changes to print before stopping; 0 without limit
    double seconds = 0;      // seconds to run; 0 without limit
    bool json = false;
    std::string broker;
};
// Runs until count changes, the time, or SIGINT/SIGTERM.
int RunMonitor(const MonitorOptions& o, std::ostream& out, std::ostream& err);

}  // namespace katag
