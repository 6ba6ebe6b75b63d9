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
bool ReadType(const std::string& word, ItemSpec* spec) {
    std::string name = word;
    const bool array = name.size() > 2 && name.compare(name.size() - 2, 2, "[]") == 0;
    if (array) {
        name.resize(name.size() - 2);
    }
    const std::uint16_t type = GxVarTypeFromName(name.c_str());
    if (type == 0 || type == GX_TYPE_ARRAY || type == GX_TYPE_CLUSTER || type == GX_TYPE_OPAQUE) {
        return false;
    }
    spec->type = array ? static_cast<std::uint16_t>(GX_TYPE_ARRAY) : type;
    spec->elementType = array ? type : 0;
    return true;
}

bool ReadAccess(const std::string& word, ItemSpec* spec) {
    const std::string w = Lower(word);
    if (w == "ro" || w == "rw") {
        spec->writable = w == "rw";
        return true;
    }
    return false;
}

// sine, ramp, counter, walk, each optionally @SECONDS.
bool ReadSimulation(const std::string& word, ItemSpec* spec) {
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
            spec->simulation = n.simulation;
            if (at != std::string::npos) {
                const std::string seconds = word.substr(at + 1);
                char* end = nullptr;
                spec->period = std::strtod(seconds.c_str(), &end);
                if (seconds.empty() || *end != '\0' || !(spec->period >= 0.01) ||
                    spec->period > 86400) {
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
void Complete(ItemSpec* spec) {
    if (spec->path.empty()) {
        throw UsageError("an item needs a path");
    }
    if (spec->type == 0) {
        bool integral = false;
        const std::string v = Lower(spec->value);
        spec->type = (v == "true" || v == "false")       ? GX_TYPE_BOOL
                     : !IsNumber(spec->value, &integral) ? GX_TYPE_ASTRING
                     : integral                          ? GX_TYPE_I32
                                                         : GX_TYPE_F64;
    }
    if (spec->simulation != Simulation::None && !IsNumericType(spec->type)) {
        throw UsageError("item '" + spec->path + "': only numeric items can be simulated");
    }
    FirstValue(*spec);  // a value that does not fit its type is refused here
    if (spec->description.empty() && spec->simulation != Simulation::None) {
        spec->description = SimulationText(*spec);
    }
}

std::string JsonText(const nlohmann::json& value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

}  // namespace

ItemSpec ParseItemSpec(const std::string& text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos) {
        throw UsageError("item '" + text +
                         "' needs =VALUE (PATH[:TYPE][:ro|rw][:SIM[@SECONDS]]=VALUE)");
    }
    ItemSpec spec;
    spec.value = text.substr(equals + 1);
    std::istringstream header(text.substr(0, equals));
    std::getline(header, spec.path, ':');
    std::string word;
    while (std::getline(header, word, ':')) {
        if (!ReadType(word, &spec) && !ReadAccess(word, &spec) && !ReadSimulation(word, &spec)) {
            throw UsageError("item '" + text + "': '" + word +
                             "' is no type, access (ro, rw) or simulation (sine, ramp, counter, "
                             "walk)");
        }
    }
    Complete(&spec);
    return spec;
}

std::vector<ItemSpec> ParseItemFile(const std::string& json, std::string* process,
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
    std::vector<ItemSpec> specs;
    for (const nlohmann::json& item : *items) {
        if (!item.is_object() || !item.contains("path") || !item.contains("value")) {
            throw UsageError("item " + item.dump() + " needs \"path\" and \"value\"");
        }
        ItemSpec spec;
        spec.path = JsonText(item["path"]);
        const nlohmann::json& value = item["value"];
        // An array's elements are written as the array text form reads them.
        spec.value = JsonText(value);
        const auto word = [&](const char* key) {
            return item.contains(key) ? JsonText(item[key]) : std::string();
        };
        const std::string where = "item '" + spec.path + "': ";
        if (!word("type").empty() && !ReadType(word("type"), &spec)) {
            throw UsageError(where + "unknown type '" + word("type") + "'");
        }
        if (!word("access").empty() && !ReadAccess(word("access"), &spec)) {
            throw UsageError(where + "access must be ro or rw");
        }
        if (!word("simulate").empty()) {
            const std::string period = word("period");
            if (!ReadSimulation(word("simulate") + (period.empty() ? "" : "@" + period), &spec)) {
                throw UsageError(where + "unknown simulation '" + word("simulate") + "'");
            }
        }
        spec.description = word("description");
        Complete(&spec);
        specs.push_back(spec);
    }
    return specs;
}

ka::kor::FlexData FirstValue(const ItemSpec& spec) {
    GxVariant* var = GxVarNew();
    unsigned char* packet = nullptr;
    std::int32_t length = 0;
    const bool parsed = GxVarParse(var, spec.type, spec.elementType, spec.value.c_str(),
                                   static_cast<std::int32_t>(spec.value.size())) == mgNoErr &&
                        GxVarToKORFlex(var, &packet, &length) == mgNoErr;
    GxVarDispose(var);
    ka::kor::FlexData value;
    if (parsed) {
        value.copyFrom(packet, packet + length);
    }
    DSDisposePtr(packet);
    if (!parsed) {
        const char* name = GxVarTypeName(spec.elementType != 0 ? spec.elementType : spec.type);
        throw UsageError("item '" + spec.path + "': '" + spec.value + "' is no " +
                         (spec.elementType != 0 ? "array of " : "") +
                         (name != nullptr ? name : "value of its type"));
    }
    return value;
}

std::string SimulationText(const ItemSpec& spec) {
    static const char* const kNames[] = {"", "sine", "ramp", "counter", "random walk"};
    if (spec.simulation == Simulation::None) {
        return std::string();
    }
    std::ostringstream text;
    text << kNames[static_cast<int>(spec.simulation)] << " every " << spec.period << " s";
    return text.str();
}

struct ItemServer::Served {
    ItemSpec spec;
    vesta::ItemHost::Item item;
    double first = 0;
    std::int64_t steps = 0;
    std::chrono::steady_clock::time_point due;
};

ItemServer::ItemServer(const std::vector<ItemSpec>& specs, const std::string& process,
                       const std::string& machine, std::ostream* log)
    : specs_(specs), log_(log), random_(std::random_device()()) {
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
    for (const ItemSpec& spec : specs_) {
        Served served;
        served.spec = spec;
        const ka::kor::FlexData value = FirstValue(spec);
        served.item =
            host_->createItem(WideText(spec.path), value,
                              VESTA_ACCESS_READ | (spec.writable ? VESTA_ACCESS_WRITE : 0),
                              WideText(spec.description));
        served.first = std::strtod(spec.value.c_str(), nullptr);
        served.due = now + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                               std::chrono::duration<double>(spec.period));
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
        if (served.spec.simulation != Simulation::None && now >= served.due) {
            step(served);
            const auto period = std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                std::chrono::duration<double>(served.spec.period));
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
    const std::uint16_t type = served.spec.type;
    switch (served.spec.simulation) {
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
