// katag demo: the tool's main job in a few seconds without any setup. It hosts a few simulated
// items in this process, then gets, puts and monitors them through the product, printing each
// step as the command a user would type.

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "ItemCommands.h"
#include "ItemSession.h"
#include "ServedItems.h"

namespace katag {

namespace {

struct Options {
    double seconds = 3.0;
    std::string process = "demo";
    std::string broker;
};

// The demo's plant: a level that swings, a counter, and a set point and a label that clients may
// write; a read-only item shows a refused write.
const char* const kItems[] = {
    "plant.tank.level:F64:sine@0.25=50", "plant.batch.count:I32:counter@0.5=0",
    "plant.pump.setpoint:F64:rw=20",     "plant.label:AString:rw=idle",
    "plant.serial:I32:ro=4711",
};

// Moves the simulated items on from a thread of its own while the commands run.
class Ticker {
  public:
    explicit Ticker(ItemServer& server)
        : thread_([this, &server] {
              while (!stop_.load()) {
                  server.tick(Clock::now());
                  std::this_thread::sleep_for(std::chrono::milliseconds(10));
              }
          }) {}
    ~Ticker() {
        stop_.store(true);
        thread_.join();
    }

  private:
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

int Run(const Options& o, std::ostream& out) {
    const Clock::duration monitorTime = Seconds(o.seconds, "--seconds");
    const std::string via = o.broker.empty() ? "" : " --broker " + o.broker;
    std::vector<ItemDefinition> definitions;
    for (const char* item : kItems) {
        definitions.push_back(ParseItemDefinition(item));
    }
    const ProductSession session;
    ItemServer server(definitions, o.process, "", nullptr);
    const Ticker ticker(server);
    const std::string base = server.url() + "\\plant.";
    out << "# hosting " << definitions.size() << " items under " << server.url()
        << (o.broker.empty() ? " (embedded provider, this process only)"
                             : " (through the broker at " + o.broker + ")")
        << "; the same as:\n$ katag serve" << via << " --process " << o.process;
    for (const char* item : kItems) {
        out << " '" << item << '\'';
    }
    out << "\n\n";

    int failures = 0;
    const auto expect = [&](int status, int wanted) {
        failures += status != wanted ? 1 : 0;
        out << '\n';
        out.flush();
    };

    GetOptions get;
    get.urls = {base + "tank.level", base + "batch.count", base + "pump.setpoint", base + "label"};
    out << "# read four items once\n$ katag get -a" << via;
    for (const std::string& url : get.urls) {
        out << " '" << url << '\'';
    }
    out << '\n';
    get.all = true;
    expect(RunGet(get, out, out), 0);

    PutOptions put;
    put.url = base + "pump.setpoint";
    put.value = "42.5";
    out << "# write a new set point; the host applies it and the new value comes back\n$ katag put"
        << via << " '" << put.url << "' 42.5\n";
    expect(RunPut(put, out, out), 0);

    put.url = base + "serial";
    put.value = "1";
    out << "# a read-only item refuses the write (exit status 1)\n$ katag put" << via << " '"
        << put.url << "' 1\n";
    expect(RunPut(put, out, out), 1);

    MonitorOptions monitor;
    monitor.urls = {base + "tank.level", base + "batch.count"};
    monitor.seconds = std::chrono::duration<double>(monitorTime).count();
    out << "# watch two items change for " << monitor.seconds << " s\n$ katag monitor -W "
        << monitor.seconds << via << " '" << monitor.urls[0] << "' '" << monitor.urls[1] << "'\n";
    expect(RunMonitor(monitor, out, out), 0);

    out << (failures == 0 ? "# done: every step behaved as expected\n"
                          : "# done, but some step did not behave as expected\n");
    return failures == 0 ? 0 : 1;
}

}  // namespace

Action DefineDemoCommand(CLI::App& app) {
    auto o = std::make_shared<Options>();
    app.add_option("--seconds", o->seconds, "how long the monitor step runs (default 3)")
        ->option_text("SECONDS");
    app.add_option("--process", o->process, "the process name of the demo's items (default demo)")
        ->option_text("NAME");
    AddBrokerOption(app, &o->broker);
    app.footer(
        "Without --broker everything runs on the embedded provider inside this one process; "
        "with it the items travel through the broker, so another katag can watch them too.");
    return [o](std::ostream& out) {
        SelectBroker(o->broker);
        return Run(*o, out);
    };
}

}  // namespace katag
