// The items `katag serve` and `katag demo` host: how they are written (a compact form on the
// command line, or a JSON file), and a server that publishes them through the provider's item
// host, applies clients' writes and moves simulated values on.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "ka/kor/FlexData.h"
#include "vesta/ItemHost.h"

namespace katag {

enum class Simulation { None, Sine, Ramp, Counter, Walk };

// One item as the user described it.
struct ItemDefinition {
    std::string path;        // below the process, e.g. "plant.tank1.level"
    std::uint16_t type = 0;  // flex type code (element type for arrays below)
    std::uint16_t elementType = 0;
    std::string value;  // the first value as text of that type
    bool writable = false;
    std::string description;
    Simulation simulation = Simulation::None;
    double period = 1.0;  // seconds between simulated changes
};

// Reads the compact form PATH[:WORD...]=VALUE, where the words (any order, any case) are a type
// name (F64, I32, Bool, AString, ...; "Array of T" is written T[]), an access right (ro, rw) and a
// simulation (sine, ramp, counter, walk, optionally @SECONDS). Without a type the value decides:
// true/false Bool, an integer I32, another number F64, anything else AString. Read only by
// default. Throws UsageError naming what is wrong.
ItemDefinition ParseItemDefinition(const std::string& text);

// Reads a JSON document: an array of items, or an object with "items" (and optionally "process"
// and "machine", stored in *process and *machine when present). Each item is an object with
// "path", "value" and optionally "type", "access" ("ro"/"rw"), "description", "simulate" and
// "period". Throws UsageError naming the item and what is wrong.
std::vector<ItemDefinition> ParseItemFile(const std::string& json, std::string* process,
                                          std::string* machine);

// The item's first value as a packet of its type; UsageError when the text is no such value.
ka::kor::FlexData FirstValue(const ItemDefinition& item);

// "sine every 0.5 s", "" without a simulation.
std::string SimulationText(const ItemDefinition& item);

// Publishes items under \\machine\process while it lives, and moves the simulated ones on when
// tick() is called. Clients' writes to writable items are applied (and logged when a log is
// given). Destroying it unregisters the host: subscribers see "process failure".
class ItemServer {
  public:
    // Throws the provider's exceptions (the process already hosted, a bad path ...) and
    // UsageError for values that do not fit their types.
    ItemServer(const std::vector<ItemDefinition>& definitions, const std::string& process,
               const std::string& machine, std::ostream* log);
    ~ItemServer();
    ItemServer(const ItemServer&) = delete;
    ItemServer& operator=(const ItemServer&) = delete;

    // \\machine\process as registered.
    std::string url() const;
    // Makes the simulated items that are due take their next value.
    void tick(std::chrono::steady_clock::time_point now);

  private:
    struct Served;
    void step(Served& served);
    void logLine(const std::string& line);

    std::vector<ItemDefinition> definitions_;
    std::unique_ptr<vesta::ItemHost> host_;
    std::vector<Served> served_;
    std::ostream* log_;
    std::mutex logMutex_;
    std::minstd_rand random_;
};

}  // namespace katag
