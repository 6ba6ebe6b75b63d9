#include "ServedItems.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "Commands.h"
#include "gxhost/GxVariant.h"
#include "gxhost/gxhost.h"
#include "ka/kor/exception.h"

namespace katag {

namespace {

// Simulated sines take this many changes for one cycle; ramps climb this many steps and start
// again, so that a short look at either shows it moving in both senses.
constexpr double kSineSteps = 20;
constexpr std::int64_t kRampSteps = 10;

std::string Lower(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

std::wstring WideText(const std::string& text) {
    const ka::kor::String wide = Wide(text);
    return std::wstring(wide.c_str(), wide.length());
}

bool IsNumber(const std::string& text, bool* integral) {
    if (text.empty()) {
        return false;
    }
    char* end = nullptr;
    std::strtoll(text.c_str(), &end, 0);
    if (*end == '\0') {
        *integral = true;
        return true;
    }
    std::strtod(text.c_str(), &end);
    *integral = false;
    return *end == '\0';
}

bool IsNumericType(std::uint16_t type) {
    return (type >= GX_TYPE_I8 && type <= GX_TYPE_F64) && type != GX_TYPE_BOOL &&
           type != GX_TYPE_BOOL16;
}

bool IsFloatType(std::uint16_t type) {
    return type == GX_TYPE_F32 || type == GX_TYPE_F64;
}

// A type word: a type name, or NAME[] for a one-dimensional array of it.
bool ReadType(const std::string& word, ItemDefinition* item) {
    std::string name = word;
    const bool array = name.size() > 2 && name.compare(name.size() - 2, 2, "[]") == 0;
    if (array) {
        name.resize(name.size() - 2);
    }
    const std::uint16_t type = GxVarTypeFromName(name.c_str());
    if (type == 0 || type == GX_TYPE_ARRAY || type == GX_TYPE_CLUSTER || type == GX_TYPE_OPAQUE) {
        return false;
    }
    item->type = array ? static_cast<std::uint16_t>(GX_TYPE_ARRAY) : type;
    item->elementType = array ? type : 0;
    return true;
}

bool ReadAccess(const std::string& word, ItemDefinition* item) {
    const std::string w = Lower(word);
    if (w == "ro" || w == "rw") {
        item->writable = w == "rw";
        return true;
    }
    return false;
}

// sine, ramp, counter, walk, each optionally @SECONDS.
bool ReadSimulation(const std::string& word, ItemDefinition* item) {
    const std::size_t at = word.find('@');
    const std::string name = Lower(word.substr(0, at));
    static const struct {
        const char* name;
        Simulation simulation;
    } kNames[] = {{"sine", Simulation::Sine},
                  {"ramp", Simulation::Ramp},
                  {"counter", Simulation::Counter},
                  {"walk", Simulation::Walk}};
    for (const auto& n : kNames) {
        if (name == n.name) {
            item->simulation = n.simulation;
            if (at != std::string::npos) {
                const std::string seconds = word.substr(at + 1);
                char* end = nullptr;
                item->period = std::strtod(seconds.c_str(), &end);
                if (seconds.empty() || *end != '\0' || !(item->period >= 0.01) ||
                    item->period > 86400) {
                    throw UsageError("simulation period '" + seconds +
                                     "' must be seconds from 0.01 to 86400");
                }
            }
            return true;
        }
    }
    return false;
}

// Fills in what the user left out and checks that the parts fit together.
void Complete(ItemDefinition* item) {
    if (item->path.empty()) {
        throw UsageError("an item needs a path");
    }
    if (item->type == 0) {
        bool integral = false;
        const std::string v = Lower(item->value);
        item->type = (v == "true" || v == "false")       ? GX_TYPE_BOOL
                     : !IsNumber(item->value, &integral) ? GX_TYPE_ASTRING
                     : integral                          ? GX_TYPE_I32
                                                         : GX_TYPE_F64;
    }
    if (item->simulation != Simulation::None && !IsNumericType(item->type)) {
        throw UsageError("item '" + item->path + "': only numeric items can be simulated");
    }
    FirstValue(*item);  // a value that does not fit its type is refused here
    if (item->description.empty() && item->simulation != Simulation::None) {
        item->description = SimulationText(*item);
    }
}

std::string JsonText(const nlohmann::json& value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

}  // namespace

ItemDefinition ParseItemDefinition(const std::string& text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos) {
        throw UsageError("item '" + text +
                         "' needs =VALUE (PATH[:TYPE][:ro|rw][:SIM[@SECONDS]]=VALUE)");
    }
    ItemDefinition item;
    item.value = text.substr(equals + 1);
    std::istringstream header(text.substr(0, equals));
    std::getline(header, item.path, ':');
    std::string word;
    while (std::getline(header, word, ':')) {
        if (!ReadType(word, &item) && !ReadAccess(word, &item) && !ReadSimulation(word, &item)) {
            throw UsageError("item '" + text + "': '" + word +
                             "' is no type, access (ro, rw) or simulation (sine, ramp, counter, "
                             "walk)");
        }
    }
    Complete(&item);
    return item;
}

std::vector<ItemDefinition> ParseItemFile(const std::string& json, std::string* process,
                                          std::string* machine) {
    const nlohmann::json doc = nlohmann::json::parse(json, nullptr, false);
    if (doc.is_discarded()) {
        throw UsageError("the item file is not JSON");
    }
    const nlohmann::json* items = &doc;
    if (doc.is_object()) {
        if (doc.contains("process")) {
            *process = JsonText(doc["process"]);
        }
        if (doc.contains("machine")) {
            *machine = JsonText(doc["machine"]);
        }
        items = doc.contains("items") ? &doc["items"] : nullptr;
    }
    if (items == nullptr || !items->is_array()) {
        throw UsageError("the item file holds no array of items");
    }
    std::vector<ItemDefinition> definitions;
    for (const nlohmann::json& entry : *items) {
        if (!entry.is_object() || !entry.contains("path") || !entry.contains("value")) {
            throw UsageError("item " + entry.dump() + " needs \"path\" and \"value\"");
        }
        ItemDefinition item;
        item.path = JsonText(entry["path"]);
        const nlohmann::json& value = entry["value"];
        // An array's elements are written as the array text form reads them.
        item.value = JsonText(value);
        const auto word = [&](const char* key) {
            return entry.contains(key) ? JsonText(entry[key]) : std::string();
        };
        const std::string where = "item '" + item.path + "': ";
        if (!word("type").empty() && !ReadType(word("type"), &item)) {
            throw UsageError(where + "unknown type '" + word("type") + "'");
        }
        if (!word("access").empty() && !ReadAccess(word("access"), &item)) {
            throw UsageError(where + "access must be ro or rw");
        }
        if (!word("simulate").empty()) {
            const std::string period = word("period");
            if (!ReadSimulation(word("simulate") + (period.empty() ? "" : "@" + period), &item)) {
                throw UsageError(where + "unknown simulation '" + word("simulate") + "'");
            }
        }
        item.description = word("description");
        Complete(&item);
        definitions.push_back(item);
    }
    return definitions;
}

ka::kor::FlexData FirstValue(const ItemDefinition& item) {
    GxVariant* var = GxVarNew();
    unsigned char* packet = nullptr;
    std::int32_t length = 0;
    const bool parsed = GxVarParse(var, item.type, item.elementType, item.value.c_str(),
                                   static_cast<std::int32_t>(item.value.size())) == mgNoErr &&
                        GxVarToKORFlex(var, &packet, &length) == mgNoErr;
    GxVarDispose(var);
    ka::kor::FlexData value;
    if (parsed) {
        value.copyFrom(packet, packet + length);
    }
    DSDisposePtr(packet);
    if (!parsed) {
        const char* name = GxVarTypeName(item.elementType != 0 ? item.elementType : item.type);
        throw UsageError("item '" + item.path + "': '" + item.value + "' is no " +
                         (item.elementType != 0 ? "array of " : "") +
                         (name != nullptr ? name : "value of its type"));
    }
    return value;
}

std::string SimulationText(const ItemDefinition& item) {
    static const char* const kNames[] = {"", "sine", "ramp", "counter", "random walk"};
    if (item.simulation == Simulation::None) {
        return std::string();
    }
    std::ostringstream text;
    text << kNames[static_cast<int>(item.simulation)] << " every " << item.period << " s";
    return text.str();
}

struct ItemServer::Served {
    ItemDefinition definition;
    vesta::ItemHost::Item item;
    double first = 0;
    std::int64_t steps = 0;
    std::chrono::steady_clock::time_point due;
};

ItemServer::ItemServer(const std::vector<ItemDefinition>& definitions, const std::string& process,
                       const std::string& machine, std::ostream* log)
    : definitions_(definitions), log_(log), random_(std::random_device()()) {
    IUnknown* session = GetVestaSession();
    if (session == nullptr) {
        throw std::runtime_error(std::string("no provider: ") + VestaLastErrorText());
    }
    try {
        host_ = std::make_unique<vesta::ItemHost>(session, WideText(process), WideText(machine));
    } catch (...) {
        session->Release();
        throw;
    }
    session->Release();  // the host keeps its own reference
    host_->setWriteHandler([this](const std::wstring& path, const ka::kor::FlexData& value) {
        if (log_ != nullptr) {
            GxVariant* var = nullptr;
            std::string text = "?";
            if (KORFlexToGxVar(value.begin(), static_cast<std::int32_t>(value.getPacketSize()),
                               &var) == mgNoErr) {
                text = GxVarRenderString(var, GX_RENDER_TEXT);
            }
            GxVarDispose(var);
            logLine("write " + Narrow(ka::kor::String(path.c_str())) + " = " + text);
        }
        return true;
    });
    const auto now = std::chrono::steady_clock::now();
    for (const ItemDefinition& item : definitions_) {
        Served served;
        served.definition = item;
        const ka::kor::FlexData value = FirstValue(item);
        served.item =
            host_->createItem(WideText(item.path), value,
                              VESTA_ACCESS_READ | (item.writable ? VESTA_ACCESS_WRITE : 0),
                              WideText(item.description));
        served.first = std::strtod(item.value.c_str(), nullptr);
        served.due = now + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                               std::chrono::duration<double>(item.period));
        served_.push_back(served);
    }
}

ItemServer::~ItemServer() {
    // The host goes first: once it is gone no write handler runs, and the log lock may go.
    host_.reset();
}

std::string ItemServer::url() const {
    return Narrow(ka::kor::String(host_->url().c_str()));
}

void ItemServer::tick(std::chrono::steady_clock::time_point now) {
    for (Served& served : served_) {
        if (served.definition.simulation != Simulation::None && now >= served.due) {
            step(served);
            const auto period = std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                std::chrono::duration<double>(served.definition.period));
            // A late tick does not make the item catch up with a burst of changes.
            served.due = std::max(served.due + period, now);
        }
    }
}

void ItemServer::step(Served& served) {
    ++served.steps;
    GxVariant* current = nullptr;
    const ka::kor::FlexData now = served.item.value();
    double value = served.first;
    if (KORFlexToGxVar(now.begin(), static_cast<std::int32_t>(now.getPacketSize()), &current) ==
        mgNoErr) {
        GxVarGetDouble(current, &value);
    }
    GxVarDispose(current);
    const std::uint16_t type = served.definition.type;
    switch (served.definition.simulation) {
        case Simulation::Sine:
            value =
                served.first + std::sin(2 * M_PI * static_cast<double>(served.steps) / kSineSteps);
            break;
        case Simulation::Ramp:
            value = served.first + static_cast<double>(served.steps % kRampSteps);
            break;
        case Simulation::Counter:
            value += 1;  // from the current value, so that a client's write resets it
            break;
        case Simulation::Walk: {
            std::uniform_real_distribution<double> step(-1.0, 1.0);
            const double delta = step(random_);
            value += IsFloatType(type) ? delta : std::round(delta);
            break;
        }
        case Simulation::None:
            return;
    }
    GxVariant* next = GxVarNew();
    const MgErr set = IsFloatType(type) ? GxVarSetDouble(next, type, value)
                                        : GxVarSetInt(next, type, std::llround(value));
    unsigned char* packet = nullptr;
    std::int32_t length = 0;
    if (set == mgNoErr && GxVarToKORFlex(next, &packet, &length) == mgNoErr) {
        ka::kor::FlexData flex;
        flex.copyFrom(packet, packet + length);
        try {
            served.item.update(flex);
        } catch (const ka::kor::exception::Exception&) {
            // A counter past its type's range keeps its last value; the server goes on.
        }
    }
    DSDisposePtr(packet);
    GxVarDispose(next);
}

void ItemServer::logLine(const std::string& line) {
    std::lock_guard<std::mutex> lock(logMutex_);
    *log_ << line << std::endl;
}

}  // namespace katag
