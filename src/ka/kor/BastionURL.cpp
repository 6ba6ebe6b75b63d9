#include "ka/kor/BastionURL.h"

#include <cstddef>
#include <cwchar>
#include <utility>

#include "ka/kor/exception.h"
#include "ka/kor/little_endian.h"
#include "ka/kor/lurlparse/PathSeparator.h"
#include "ka/kor/osdep/GetCachedHostName.h"
#include "ka/kor/osdep/GetHostName.h"
#include "ka/kor/osdep/IsComputerLocal.h"

namespace ka {
namespace kor {

namespace {

constexpr const char* kSourceFile = "ka/kor/BastionURL";

typedef lurlparse::PathSeparator<wchar_t> Parser;

constexpr wchar_t kSeparator = L'\\';
constexpr std::ptrdiff_t kMinDatabaseName = 3;
constexpr std::ptrdiff_t kMaxDatabaseName = 128;
const wchar_t kDatabaseIllegal[] = L"\\/:*?\"<>|";

// Smallest serialized component: an empty name's 4-byte count.
constexpr std::uint32_t kMinComponentSize = 4;

bool IsValidType(RenderType type) {
    return type == RenderType::Absolute || type == RenderType::Relative;
}

const wchar_t* FindSeparator(const wchar_t* p, const wchar_t* end) {
    while (p != end && *p != kSeparator) {
        ++p;
    }
    return p;
}

// The text after the type's prefix, or null when the type is not allowed.
const wchar_t* SkipPrefix(const wchar_t* begin, const wchar_t* end, RenderType& type) {
    type = GetRenderType(begin, end);
    if (!IsValidType(type)) {
        return nullptr;
    }
    return type == RenderType::Absolute ? begin + 2 : begin;
}

[[noreturn]] void ThrowSyntaxError(std::uint32_t line, const wchar_t* begin, const wchar_t* end) {
    throw exception::SyntaxError(line, kSourceFile, AString(String(begin, end)));
}

}  // namespace

BastionURL::BastionURL() : type_(RenderType::Relative) {}

BastionURL::BastionURL(const String& text) : type_(RenderType::Relative) {
    parse(text.begin(), text.end());
}

BastionURL::BastionURL(const wchar_t* text) : type_(RenderType::Relative) {
    if (text != nullptr) {
        parse(text, text + std::wcslen(text));
    }
}

BastionURL::BastionURL(const String* first, const String* last, RenderType type)
    : type_(RenderType::Relative) {
    this->type(type);
    components_.reserve(static_cast<unsigned int>(last - first));
    for (; first != last; ++first) {
        append(*first);
    }
}

BastionURL::BastionURL(const BastionURL& url, const String* last) : type_(url.type_) {
    components_.reserve(static_cast<unsigned int>(last - url.begin()));
    for (const String* c = url.begin(); c != last; ++c) {
        components_.push_back(*c);
    }
}

BastionURL::BastionURL(const String& machine, const String& database, const VestaURL& item)
    : type_(RenderType::Absolute) {
    append(machine);
    append(database);
    if (item.empty()) {
        return;
    }
    const String text = item.str();
    if (text.length() <= 2) {
        return;
    }
    // Split directly rather than parse: the rest is read as a relative address whatever its first
    // characters, and a quoted name may hold backslashes, which split and join back unchanged.
    const wchar_t* p = text.begin() + 2;
    for (;;) {
        const wchar_t* stop = FindSeparator(p, text.end());
        components_.push_back(String(p, stop));
        if (stop == text.end()) {
            break;
        }
        p = stop + 1;
    }
}

void BastionURL::swap(BastionURL& other) noexcept {
    components_.swap(other.components_);
    std::swap(type_, other.type_);
}

VestaURL BastionURL::getVestaURLComponent() const {
    if (type_ != RenderType::Absolute || components_.size() <= 2) {
        return VestaURL();
    }
    String text(L"\\\\");
    for (unsigned int i = 2; i < components_.size(); ++i) {
        if (i > 2) {
            text += kSeparator;
        }
        text += components_[i];
    }
    return VestaURL(text);
}

void BastionURL::parse(const wchar_t* begin, const wchar_t* end) {
    if (!isValidPath(begin, end)) {
        ThrowSyntaxError(__LINE__, begin, end);
    }
    RenderType type;
    const wchar_t* p = SkipPrefix(begin, end, type);
    type_ = type;
    if (p == end) {
        return;
    }
    for (;;) {
        const wchar_t* stop = FindSeparator(p, end);
        components_.push_back(String(p, stop));
        if (stop == end) {
            break;
        }
        p = stop + 1;
    }
}

bool BastionURL::isValidPath(const String& text) {
    return isValidPath(text.begin(), text.end());
}

bool BastionURL::isValidPath(const wchar_t* begin, const wchar_t* end) {
    RenderType type;
    const wchar_t* p = SkipPrefix(begin, end, type);
    if (p == nullptr) {
        return false;
    }
    if (p == end) {
        return true;
    }
    for (unsigned int index = 0;; ++index) {
        const wchar_t* stop = FindSeparator(p, end);
        if (!isValidAt(p, stop, index, type)) {
            return false;
        }
        if (stop == end) {
            return true;
        }
        p = stop + 1;
    }
}

bool BastionURL::isValidSep(wchar_t sep) {
    return sep == kSeparator;
}

bool BastionURL::isValidComponent(const String& name) {
    return isValidComponent(name.begin(), name.end());
}

bool BastionURL::isValidComponent(const wchar_t* begin, const wchar_t* end) {
    return FindSeparator(begin, end) == end;
}

bool BastionURL::isValidMachineName(const String& name) {
    return isValidMachineName(name.begin(), name.end());
}

bool BastionURL::isValidMachineName(const wchar_t* begin, const wchar_t* end) {
    if (begin == end || Parser::IsBadMachine(*begin)) {
        return false;
    }
    for (const wchar_t* p = begin + 1; p != end; ++p) {
        if (Parser::IsBadMachine(*p) && !Parser::IsDot(*p)) {
            return false;
        }
    }
    return true;
}

bool BastionURL::isValidDatabaseName(const String& name) {
    return isValidDatabaseName(name.begin(), name.end());
}

bool BastionURL::isValidDatabaseName(const wchar_t* begin, const wchar_t* end) {
    const std::ptrdiff_t length = end - begin;
    if (length < kMinDatabaseName || length > kMaxDatabaseName) {
        return false;
    }
    for (const wchar_t* p = begin; p != end; ++p) {
        if (std::wcschr(kDatabaseIllegal, *p) != nullptr && *p != L'\0') {
            return false;
        }
    }
    return true;
}

bool BastionURL::isValidAt(const wchar_t* begin, const wchar_t* end, unsigned int index,
                           RenderType type) {
    if (type == RenderType::Absolute && index == 0) {
        return isValidMachineName(begin, end);
    }
    if (type == RenderType::Absolute && index == 1) {
        return isValidDatabaseName(begin, end);
    }
    return isValidComponent(begin, end);
}

bool BastionURL::componentsAreValid() const {
    return componentsAreValid(components_, type_);
}

bool BastionURL::componentsAreValid(const Vector<String>& components, RenderType type) {
    if (!IsValidType(type)) {
        return false;
    }
    for (unsigned int i = 0; i < components.size(); ++i) {
        if (!isValidAt(components[i].begin(), components[i].end(), i, type)) {
            return false;
        }
    }
    return true;
}

void BastionURL::stripIllegalCharacters(String& text, wchar_t replacement, const wchar_t* illegal) {
    for (wchar_t& c : text) {
        if (c == kSeparator || (illegal != nullptr && c != L'\0' && std::wcschr(illegal, c))) {
            c = replacement;
        }
    }
}

void BastionURL::makeCanonical(bool useCachedHostName) {
    if (type_ != RenderType::Absolute || components_.empty() ||
        !osdep::IsComputerLocal(components_[0])) {
        return;
    }
    components_[0] = useCachedHostName ? osdep::GetCachedHostName() : osdep::GetHostName();
}

String BastionURL::str() const {
    unsigned int length = type_ == RenderType::Absolute ? 2 : 0;
    for (const String& c : components_) {
        length += c.length() + 1;
    }
    String out;
    out.reserve(length);
    if (type_ == RenderType::Absolute) {
        out.append(2, kSeparator);
    }
    for (unsigned int i = 0; i < components_.size(); ++i) {
        if (i > 0) {
            out += kSeparator;
        }
        out.append(components_[i]);
    }
    return out;
}

void BastionURL::type(RenderType type) {
    if (!IsValidType(type)) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    type_ = type;
}

void BastionURL::append(const String& component) {
    if (!isValidAt(component.begin(), component.end(), components_.size(), type_)) {
        ThrowSyntaxError(__LINE__, component.begin(), component.end());
    }
    components_.push_back(component);
}

void BastionURL::extend(const BastionURL& other) {
    BastionURL result(*this);
    for (const String& c : other) {
        result.append(c);
    }
    swap(result);
}

void BastionURL::eraseLastComponent() noexcept {
    if (!components_.empty()) {
        components_.pop_back();
    }
}

bool operator==(const BastionURL& a, const BastionURL& b) {
    return a.type_ == b.type_ && a.components_ == b.components_;
}

bool operator<(const BastionURL& a, const BastionURL& b) {
    if (a.type_ != b.type_) {
        return static_cast<std::int32_t>(a.type_) < static_cast<std::int32_t>(b.type_);
    }
    const unsigned int n = a.size() < b.size() ? a.size() : b.size();
    for (unsigned int i = 0; i < n; ++i) {
        const int order = a[i].compare(b[i]);
        if (order != 0) {
            return order < 0;
        }
    }
    return a.size() < b.size();
}

std::uint32_t BastionURL::serializationSize() const {
    std::uint32_t size = 4 + 4;
    for (const String& c : components_) {
        size += c.serializationSize();
    }
    return size;
}

void BastionURL::serialize(unsigned char*& p, const unsigned char* end) const {
    little_endian::CheckSerializationSize(serializationSize(), p, end);
    little_endian::SerializeRaw<std::int32_t>(static_cast<std::int32_t>(type_), p, end);
    little_endian::SerializeRaw<std::uint32_t>(components_.size(), p, end);
    for (const String& c : components_) {
        c.serialize(p, end);
    }
}

void BastionURL::deserialize(const unsigned char*& p, const unsigned char* end) {
    const unsigned char* q = p;
    std::int32_t type = 0;
    little_endian::DeserializeRaw(type, q, end);
    std::uint32_t count = 0;
    little_endian::DeserializeRaw(count, q, end);
    // Reject impossible counts before reserving room for them.
    if (count > static_cast<std::size_t>(end - q) / kMinComponentSize) {
        throw exception::DeserializationError(__LINE__, kSourceFile);
    }
    BastionURL fresh;
    fresh.type_ = static_cast<RenderType>(type);
    fresh.components_.reserve(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        fresh.components_.emplace_back().deserialize(q, end);
    }
    swap(fresh);
    p = q;
}

BastionURL operator+(const BastionURL& a, const BastionURL& b) {
    BastionURL r(a);
    r.extend(b);
    return r;
}

BastionURL operator+(const BastionURL& a, const String& b) {
    return a + BastionURL(b);
}

BastionURL operator+(const String& a, const BastionURL& b) {
    return BastionURL(a) + b;
}

BastionURL operator+(const BastionURL& a, const wchar_t* b) {
    return a + BastionURL(b);
}

BastionURL operator+(const wchar_t* a, const BastionURL& b) {
    return BastionURL(a) + b;
}

}  // namespace kor
}  // namespace ka
