// How `katag serve` reads the items it is to host: the compact command-line form and the JSON
// file, with the defaults they imply and the mistakes they refuse.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "gxhost/GxVariant.h"
#include "katag/Commands.h"
#include "katag/ServedItems.h"

namespace {

using katag::ItemDefinition;
using katag::ParseItemDefinition;
using katag::ParseItemFile;
using katag::Simulation;
using katag::UsageError;
using ::testing::HasSubstr;

TEST(ParseItemDefinition, ReadsWordsInAnyOrderWithDefaults) {
    const struct {
        const char* text;
        const char* path;
        std::uint16_t type;
        std::uint16_t element;
        const char* value;
        bool writable;
        Simulation simulation;
        double period;
        const char* description;
    } kCases[] = {
        {"a.b=1.5", "a.b", GX_TYPE_F64, 0, "1.5", false, Simulation::None, 1, ""},
        {"a=-7", "a", GX_TYPE_I32, 0, "-7", false, Simulation::None, 1, ""},
        {"a=0x10", "a", GX_TYPE_I32, 0, "0x10", false, Simulation::None, 1, ""},
        {"a=True", "a", GX_TYPE_BOOL, 0, "True", false, Simulation::None, 1, ""},
        // Everything after the first '=' is the value, colons and '=' included.
        {"a=x=1:2", "a", GX_TYPE_ASTRING, 0, "x=1:2", false, Simulation::None, 1, ""},
        {"a=", "a", GX_TYPE_ASTRING, 0, "", false, Simulation::None, 1, ""},
        {"a:rw:f32=2", "a", GX_TYPE_F32, 0, "2", true, Simulation::None, 1, ""},
        {"a:RO:UI8=255", "a", GX_TYPE_UI8, 0, "255", false, Simulation::None, 1, ""},
        {"a:i32[]=1,2,3", "a", GX_TYPE_ARRAY, GX_TYPE_I32, "1,2,3", false, Simulation::None, 1, ""},
        {"a:counter@0.5:I32=0", "a", GX_TYPE_I32, 0, "0", false, Simulation::Counter, 0.5,
         "counter every 0.5 s"},
        {"a:walk=0", "a", GX_TYPE_I32, 0, "0", false, Simulation::Walk, 1, "random walk every 1 s"},
        {"t.l:F64:sine@0.25:rw=10", "t.l", GX_TYPE_F64, 0, "10", true, Simulation::Sine, 0.25,
         "sine every 0.25 s"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.text);
        const ItemDefinition item = ParseItemDefinition(c.text);
        EXPECT_EQ(item.path, c.path);
        EXPECT_EQ(item.type, c.type);
        EXPECT_EQ(item.elementType, c.element);
        EXPECT_EQ(item.value, c.value);
        EXPECT_EQ(item.writable, c.writable);
        EXPECT_EQ(item.simulation, c.simulation);
        EXPECT_EQ(item.period, c.period);
        EXPECT_EQ(item.description, c.description);
    }
}

TEST(ParseItemDefinition, RefusesWhatItCannotHost) {
    const struct {
        const char* text;
        const char* message;
    } kCases[] = {
        {"a", "needs =VALUE"},
        {"=1", "needs a path"},
        {"a:Nope=1", "'Nope' is no type"},
        {"a:Cluster=1", "'Cluster' is no type"},
        {"a:I32=1.5", "'1.5' is no I32"},
        {"a:UI8=256", "'256' is no UI8"},
        {"a:I32[]=1,x", "'1,x' is no array of I32"},
        {"a:AString:sine=x", "only numeric items can be simulated"},
        {"a:Bool:counter=true", "only numeric items can be simulated"},
        {"a:sine@0=1", "period '0' must be seconds"},
        {"a:ramp@x=1", "period 'x' must be seconds"},
        {"a:ramp@=1", "period '' must be seconds"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.text);
        try {
            ParseItemDefinition(c.text);
            ADD_FAILURE() << "accepted";
        } catch (const UsageError& e) {
            EXPECT_THAT(e.what(), HasSubstr(c.message));
        }
    }
}

TEST(ParseItemFile, ReadsItemsNamesAndJsonValues) {
    std::string process = "katag", machine;
    const std::vector<ItemDefinition> definitions = ParseItemFile(
        R"({"process": "plant", "machine": "m1", "items": [
              {"path": "level", "value": 1.5, "access": "rw", "description": "tank level",
               "simulate": "sine", "period": 0.5},
              {"path": "wave", "type": "F64[]", "value": [1, 2.5]},
              {"path": "name", "value": "pump 1"},
              {"path": "on", "value": false}]})",
        &process, &machine);
    EXPECT_EQ(process, "plant");
    EXPECT_EQ(machine, "m1");
    ASSERT_EQ(definitions.size(), 4u);
    EXPECT_EQ(definitions[0].type, GX_TYPE_F64);
    EXPECT_TRUE(definitions[0].writable);
    EXPECT_EQ(definitions[0].simulation, Simulation::Sine);
    EXPECT_EQ(definitions[0].period, 0.5);
    EXPECT_EQ(definitions[0].description, "tank level");  // given, so not the simulation's
    EXPECT_EQ(definitions[1].elementType, GX_TYPE_F64);
    EXPECT_EQ(definitions[1].value, "[1,2.5]");
    EXPECT_EQ(definitions[2].type, GX_TYPE_ASTRING);
    EXPECT_EQ(definitions[2].value, "pump 1");
    EXPECT_EQ(definitions[3].type, GX_TYPE_BOOL);

    // A bare array keeps the names given on the command line.
    process = "keep";
    EXPECT_EQ(ParseItemFile(R"([{"path": "x", "value": 1}])", &process, &machine).size(), 1u);
    EXPECT_EQ(process, "keep");
}

TEST(ParseItemFile, RefusesMalformedFiles) {
    const struct {
        const char* json;
        const char* message;
    } kCases[] = {
        {"{", "not JSON"},
        {R"({"process": "p"})", "no array of items"},
        {R"({"items": {}})", "no array of items"},
        {R"([{"path": "x"}])", "needs \"path\" and \"value\""},
        {R"([3])", "needs \"path\" and \"value\""},
        {R"([{"path": "x", "value": 1, "type": "Nope"}])", "item 'x': unknown type 'Nope'"},
        {R"([{"path": "x", "value": 1, "access": "w"}])", "access must be ro or rw"},
        {R"([{"path": "x", "value": 1, "simulate": "spin"}])", "unknown simulation 'spin'"},
        {R"([{"path": "x", "value": "a", "type": "I32"}])", "'a' is no I32"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.json);
        std::string process, machine;
        try {
            ParseItemFile(c.json, &process, &machine);
            ADD_FAILURE() << "accepted";
        } catch (const UsageError& e) {
            EXPECT_THAT(e.what(), HasSubstr(c.message));
        }
    }
}

}  // namespace
