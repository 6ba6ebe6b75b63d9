// katag's item commands as users run them across a broker: one private mosquitto and one
// `katag serve` for the whole program, and get, put, monitor and info started against them as
// processes. Output lines and exit statuses are compared; times only by their form.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/vesta/TestBroker.h"
#include "tools/katag/KatagProcess.h"

namespace {

using ka_test::KatagChild;
using ka_test::KatagRun;
using ka_test::RunKatag;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

const std::string kProcess = "\\\\.\\katagtest\\";
const std::string kTime = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6}";

std::string Url(const std::string& path) {
    return kProcess + path;
}

class KatagItems : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        broker_ = new vesta_test::TestBroker;
        if (!broker_->available()) {
            return;
        }
        serve_ =
            new KatagChild({"serve", "--broker", broker_->url(), "--process", "katagtest",
                            "ro:I32=5", "rw:F64:rw=0", "text:rw=hello", "cnt:I32:counter@0.1=0",
                            "putback:I32:rw=1", "arr:I32[]:rw=1,2,3"});
        if (!serve_->waitForOutput("serving ")) {
            delete serve_;
            serve_ = nullptr;
        }
    }
    static void TearDownTestSuite() {
        if (serve_ != nullptr) {
            // SIGTERM ends serve cleanly: it unregisters its items and says so.
            EXPECT_EQ(0, serve_->stop(SIGTERM));
            EXPECT_THAT(serve_->out(), HasSubstr("\nstopped\n"));
            delete serve_;
            serve_ = nullptr;
        }
        delete broker_;
        broker_ = nullptr;
    }
    void SetUp() override {
        if (!broker_->available()) {
            GTEST_SKIP() << "mosquitto is not installed";
        }
        ASSERT_NE(serve_, nullptr) << "katag serve did not start";
    }

    // katag COMMAND --broker URL ARGS...
    static KatagRun Katag(const std::string& command, std::vector<std::string> args) {
        args.insert(args.begin(), {command, "--broker", broker_->url()});
        return RunKatag(args, "", std::chrono::seconds(20));
    }

    static vesta_test::TestBroker* broker_;
    static KatagChild* serve_;
};

vesta_test::TestBroker* KatagItems::broker_ = nullptr;
KatagChild* KatagItems::serve_ = nullptr;

struct Case {
    const char* command;
    std::vector<std::string> args;
    int status;
    std::string out;  // a regular expression for the whole output
    std::string err;  // the whole of stderr
};

std::string Describe(const Case& c) {
    std::string text = std::string("katag ") + c.command;
    for (const std::string& a : c.args) {
        text += " '" + a + "'";
    }
    return text;
}

std::string Escaped(const std::string& text) {
    std::string out;
    for (const char c : text) {
        if (std::string("\\.[]()*+?{}|^$").find(c) != std::string::npos) {
            out += '\\';
        }
        out += c;
    }
    return out;
}

TEST_F(KatagItems, GetAndPutPrintValuesAndNameFailures) {
    const std::string ro = Url("ro"), rw = Url("rw"), nope = Url("nope");
    const std::string noHost = "\\\\.\\katagnohost\\x";
    // clang-format off
    const Case kCases[] = {
        {"get", {ro}, 0, Escaped(ro) + " 5\n", ""},
        {"get", {"-t", ro, Url("text")}, 0, "5\nhello\n", ""},
        {"get", {"-a", ro}, 0, Escaped(ro) + " " + kTime + " 5 good\n", ""},
        {"get", {"--json", ro}, 0,
         R"(\{"quality":0,"quality_text":"good","time":"[-0-9]+T[:.0-9]+Z","type":"I32",)"
         R"("url":"\\\\\\\\\.\\\\katagtest\\\\ro","value":5\})" "\n", ""},
        // The good item is printed even when another fails.
        {"get", {nope, ro}, 1, Escaped(ro) + " 5\n", "katag get: " + nope + ": not found\n"},
        {"get", {noHost}, 1, "", "katag get: " + noHost + ": no host\n"},
        {"put", {Url("putback"), "42"}, 0,
         "Old : " + Escaped(Url("putback")) + " 1\nNew : " + Escaped(Url("putback")) + " 42\n", ""},
        {"get", {Url("putback")}, 0, Escaped(Url("putback")) + " 42\n", ""},
        {"put", {ro, "7"}, 1, "Old : " + Escaped(ro) + " 5\n",
         "katag put: " + ro + ": write refused: no write right\n"},
        {"put", {rw, "abc"}, 1, "", "katag put: " + rw + ": 'abc' is no value of type F64\n"},
        {"put", {Url("putback"), "1.5"}, 1, "",
         "katag put: " + Url("putback") + ": '1.5' is no value of type I32\n"},
        {"put", {nope, "1"}, 1, "", "katag put: " + nope + ": not found\n"},
        {"info", {rw}, 0,
         "url:          " + Escaped(rw) + "\n"
         "type:         F64\n"
         "access:       read, write\n"
         "description:  \n"
         "host:         running\n"
         "subscription: established \\(provider: active\\)\n"
         "quality:      0x00000000 \\(good\\)\n"
         "value:        [-.0-9e]+\n"
         "time:         " + kTime + "\n", ""},
        {"info", {Url("cnt")}, 0, "(.*\n)*access:       read\ndescription:  counter every 0.1 s\n(.*\n)*",
         ""},
        {"info", {noHost}, 1, "(.*\n)*host:         gone \\(process failure\\)\n(.*\n)*",
         "katag info: " + noHost + ": no host\n"},
    };
    // clang-format on
    for (const Case& c : kCases) {
        SCOPED_TRACE(Describe(c));
        const KatagRun run = Katag(c.command, c.args);
        EXPECT_EQ(run.status, c.status);
        EXPECT_THAT(run.out, MatchesRegex(c.out));
        EXPECT_EQ(run.err, c.err);
    }

    // Without a broker to reach, the wait ends with what the quality says meanwhile.
    const KatagRun run = RunKatag({"get", "--broker", "mqtt://127.0.0.1:1", "-w", "0.2", ro}, "",
                                  std::chrono::seconds(20));
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "katag get: " + ro + ": timed out (disconnected)\n");
}

TEST_F(KatagItems, PutOfTextAndArraysComesBackAsWritten) {
    const std::string text = Url("text");
    KatagRun run = Katag("put", {text, "two words"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("New : " + text + " two words\n"));
    run = Katag("put", {Url("arr"), "4, 5"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "Old : " + Url("arr") + " [1,2,3]\nNew : " + Url("arr") + " [4,5]\n");
    run = Katag("put", {"--json", Url("rw"), "-2.5e3"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, MatchesRegex(R"(\{.*"value":[-.0-9e]+,"which":"old"\}
\{.*"type":"F64".*"value":-2500,"which":"new"\}
)"));
}

TEST_F(KatagItems, MonitorPrintsEachChangeUntilItsCount) {
    const std::string cnt = Url("cnt");
    KatagRun run = Katag("monitor", {"-c", "3", cnt});
    EXPECT_EQ(run.status, 0) << run.err;
    const std::string line = Escaped(cnt) + " " + kTime + " [0-9]+\n";
    EXPECT_THAT(run.out, MatchesRegex(line + line + line));

    run = Katag("monitor", {"--json", "-c", "1", cnt});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, MatchesRegex(R"(\{"quality":0,.*"type":"I32",.*"value":[0-9]+\}
)"));

    // Items that are not there are told once each; -W ends the command.
    run = Katag("monitor", {"-W", "0.5", Url("nope"), "\\\\.\\katagnohost\\x"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, Url("nope") + " *** not found\n\\\\.\\katagnohost\\x *** no host\n");
}

// The host going away and coming back, and the broker going away and coming back, are told with
// *** lines between the values.
TEST_F(KatagItems, MonitorTellsOfLostAndRegainedConnections) {
    {
        KatagChild host({"serve", "--broker", broker_->url(), "--process", "katagtest2",
                         "tick:I32:counter@0.1=0"});
        ASSERT_TRUE(host.waitForOutput("serving "));
        KatagChild monitor(
            {"monitor", "--broker", broker_->url(), "-W", "20", "\\\\.\\katagtest2\\tick"});
        ASSERT_TRUE(monitor.waitForOutput(" 1\n"));
        EXPECT_EQ(0, host.stop(SIGINT));
        EXPECT_TRUE(monitor.waitForOutput(
            "\\\\.\\katagtest2\\tick *** disconnected (quality 0x00400000: process failure)\n"));
        EXPECT_EQ(0, monitor.stop(SIGINT));
        EXPECT_EQ(monitor.err(), "");
    }

    const std::string cnt = Url("cnt");
    KatagChild monitor({"monitor", "--broker", broker_->url(), "-W", "30", cnt});
    ASSERT_TRUE(monitor.waitForOutput(cnt + " "));
    broker_->kill9();
    EXPECT_TRUE(
        monitor.waitForOutput(cnt + " *** disconnected (quality 0x00200000: disconnected)\n"));
    ASSERT_TRUE(broker_->start());
    EXPECT_TRUE(monitor.waitForOutput(cnt + " *** reconnected\n" + cnt + " "));
    EXPECT_EQ(0, monitor.stop(SIGTERM));
    EXPECT_EQ(monitor.err(), "");
    // The lines around the *** lines are values as ever.
    const std::string line = Escaped(cnt) + " " + kTime + " [0-9]+\n";
    EXPECT_THAT(monitor.out(),
                MatchesRegex("(" + line + ")+" + Escaped(cnt) + " \\*\\*\\* disconnected .*\n" +
                             Escaped(cnt) + " \\*\\*\\* reconnected\n(" + line + ")+"));
}

TEST_F(KatagItems, DemoRunsAcrossTheBroker) {
    const KatagRun run = Katag("demo", {"--seconds", "0.5"});
    EXPECT_EQ(run.status, 0) << run.out;
    EXPECT_THAT(run.out, HasSubstr("\\demo\\plant.pump.setpoint 42.5\n"));
    EXPECT_THAT(run.out, HasSubstr("# done: every step behaved as expected\n"));
}

}  // namespace
