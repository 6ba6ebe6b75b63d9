#include "ka/kor/VestaURL.h"

#include <cwchar>
#include <utility>

#include "ka/kor/exception.h"
#include "ka/kor/little_endian.h"
#include "ka/kor/lurlparse/PathSeparator.h"

namespace ka {
namespace kor {

namespace {

constexpr const char* kSourceFile = "ka/kor/VestaURL";

typedef lurlparse::PathSeparator<wchar_t> Parser;
typedef lurlparse::CSingleQuote<wchar_t> Quote;

// Flag bits of a serialized component.
constexpr std::uint8_t kParentFlag = 1;
constexpr std::uint8_t kFirstFlag = 2;
constexpr std::uint8_t kSeparatorFlag = 4;

// Smallest serialized component: the flag byte and an empty name's 4-byte count.
constexpr std::uint32_t kMinComponentSize = 5;

[[noreturn]] void ThrowBadSeparator(std::uint32_t line, wchar_t sep) {
    throw exception::SyntaxError(line, kSourceFile, AString(String(1, sep)));
}

void CheckSeparator(std::uint32_t line, wchar_t sep) {
    if (sep != L'\0' && !VestaURL::isValidSep(sep)) {
        ThrowBadSeparator(line, sep);
    }
}

bool NeedsQuotes(const String& name) {
    for (wchar_t c : name) {
        if (Quote::IsSpecial(c)) {
            return true;
        }
    }
    return false;
}

// Length of the rendered form of a name (quoted where needed); 0 for an empty name.
unsigned int QuotedLength(const String& name) {
    unsigned int quotes = 0;
    bool special = false;
    for (wchar_t c : name) {
        if (Quote::IsSpecial(c)) {
            special = true;
            quotes += Parser::IsQuote(c) ? 1 : 0;
        }
    }
    return special ? name.length() + quotes + 2 : name.length();
}

void AppendQuoted(String& out, const String& name, bool addQuotes) {
    if (!NeedsQuotes(name)) {
        out.append(name);
        return;
    }
    const wchar_t quote = Parser::quote_[0];
    if (addQuotes) {
        out += quote;
    }
    for (wchar_t c : name) {
        out += c;
        if (c == quote) {
            out += quote;
        }
    }
    if (addQuotes) {
        out += quote;
    }
}

// A quoted name arrives with each quote still doubled; keep one of each pair.
void UndoubleQuotes(String& name) {
    wchar_t* out = name.begin();
    for (const wchar_t* p = name.begin(); p != name.end(); ++p) {
        *out++ = *p;
        if (Parser::IsQuote(*p)) {
            ++p;
        }
    }
    name.resize(static_cast<unsigned int>(out - name.begin()));
}

void CheckAddable(const VestaURL::Component& c) {
    if (!c.parent() && c.name().empty()) {
        throw exception::SyntaxError(__LINE__, kSourceFile, AString(c.name()));
    }
}

}  // namespace

// ---- Component ---------------------------------------------------------------------------------

VestaURL::Component::Component() : sep_(L'\0'), parent_(false), first_(true) {}

VestaURL::Component::Component(wchar_t sep, const String& name)
    : name_(name), sep_(sep), parent_(false), first_(sep == L'\0') {
    CheckSeparator(__LINE__, sep);
}

VestaURL::Component::Component(wchar_t sep, const wchar_t* nameBegin, const wchar_t* nameEnd)
    : name_(nameBegin, nameEnd), sep_(sep), parent_(false), first_(sep == L'\0') {
    CheckSeparator(__LINE__, sep);
}

VestaURL::Component::Component(wchar_t sep) : sep_(sep), parent_(true), first_(sep == L'\0') {
    CheckSeparator(__LINE__, sep);
}

VestaURL::Component::Component(Component&& other)
    : sep_(other.sep_), parent_(other.parent_), first_(other.first_) {
    name_.swap(other.name_);
}

void VestaURL::Component::sep(wchar_t sep) {
    CheckSeparator(__LINE__, sep);
    sep_ = sep;
    first_ = sep == L'\0';
}

void VestaURL::Component::name(const String& name) {
    name_ = name;
    if (!name_.empty()) {
        parent_ = false;
    }
}

void VestaURL::Component::parent(bool parent) noexcept {
    parent_ = parent;
    if (parent) {
        name_.resize(0);
    }
}

void VestaURL::Component::setFirst(bool first) noexcept {
    first_ = first;
    if (first) {
        sep_ = L'\0';
    } else if (sep_ == L'\0') {
        sep_ = Parser::slashes_[0];
    }
}

void VestaURL::Component::swap(Component& other) noexcept {
    name_.swap(other.name_);
    std::swap(sep_, other.sep_);
    std::swap(parent_, other.parent_);
    std::swap(first_, other.first_);
}

std::uint32_t VestaURL::Component::serializationSize() const {
    return name_.serializationSize() + (sep_ != L'\0' ? 3 : 1);
}

void VestaURL::Component::serialize(unsigned char*& p, const unsigned char* end) const {
    little_endian::CheckSerializationSize(serializationSize(), p, end);
    const std::uint8_t flags = (parent_ ? kParentFlag : 0) | (first_ ? kFirstFlag : 0) |
                               (sep_ != L'\0' ? kSeparatorFlag : 0);
    little_endian::SerializeRaw<std::uint8_t>(flags, p, end);
    if (sep_ != L'\0') {
        little_endian::SerializeRaw<std::uint16_t>(static_cast<std::uint16_t>(sep_), p, end);
    }
    name_.serialize(p, end);
}

void VestaURL::Component::deserialize(const unsigned char*& p, const unsigned char* end) {
    const unsigned char* q = p;
    std::uint8_t flags = 0;
    little_endian::DeserializeRaw(flags, q, end);
    std::uint16_t sep = 0;
    if (flags & kSeparatorFlag) {
        little_endian::DeserializeRaw(sep, q, end);
    }
    // Every field is taken as stored, without the setters' invariants, so that whatever another
    // process wrote reads back as it was written.
    Component fresh;
    fresh.name_.deserialize(q, end);
    fresh.sep_ = static_cast<wchar_t>(sep);
    fresh.parent_ = (flags & kParentFlag) != 0;
    fresh.first_ = (flags & kFirstFlag) != 0;
    swap(fresh);
    p = q;
}

bool operator==(const VestaURL::Component& a, const VestaURL::Component& b) {
    return a.parent_ == b.parent_ && (a.parent_ || a.name_ == b.name_);
}

bool operator<(const VestaURL::Component& a, const VestaURL::Component& b) {
    if (a.parent_ != b.parent_) {
        return a.parent_;
    }
    return !a.parent_ && a.name_ < b.name_;
}

// ---- VestaURL ----------------------------------------------------------------------------------

// Collects the components the grammar reports: the first stored component has no separator.
struct VestaURL::Builder {
    Vector<Component>& out;

    void component(wchar_t sep, const wchar_t* begin, const wchar_t* end, bool quoted) {
        Component& c = out.emplace_back(out.empty() ? L'\0' : sep, begin, end);
        if (quoted) {
            UndoubleQuotes(c.name_);
        }
    }
    void parent(wchar_t sep) { out.emplace_back(out.empty() ? L'\0' : sep); }
};

VestaURL::VestaURL() : type_(RenderType::Relative) {}

VestaURL::VestaURL(const String& text) : type_(RenderType::Relative) {
    parse(text.begin(), text.end());
}

VestaURL::VestaURL(const wchar_t* text) : type_(RenderType::Relative) {
    if (text != nullptr) {
        parse(text, text + std::wcslen(text));
    }
}

VestaURL::VestaURL(const Component* first, const Component* last, RenderType type)
    : type_(RenderType::Relative) {
    this->type(type);
    components_.reserve(static_cast<unsigned int>(last - first));
    for (; first != last; ++first) {
        components_.push_back(*first);
    }
    if (!components_.empty()) {
        components_[0].setFirst(true);
    }
}

VestaURL::VestaURL(const VestaURL& url, const Component* last) : type_(url.type_) {
    components_.reserve(static_cast<unsigned int>(last - url.begin()));
    for (const Component* c = url.begin(); c != last; ++c) {
        components_.push_back(*c);
    }
}

void VestaURL::parse(const wchar_t* begin, const wchar_t* end) {
    // Every component but the first follows a separator, so this bounds the count.
    unsigned int bound = 1;
    for (const wchar_t* p = begin; p != end; ++p) {
        bound += Parser::IsSeparator(*p) ? 1 : 0;
    }
    components_.reserve(bound);
    Builder builder{components_};
    if (!lurlparse::IsAccepted(Parser::Parse(begin, end, builder))) {
        components_.clear();
        throw exception::SyntaxError(__LINE__, kSourceFile, AString(String(begin, end)));
    }
    type_ = GetRenderType(begin, end);
}

void VestaURL::swap(VestaURL& other) noexcept {
    components_.swap(other.components_);
    std::swap(type_, other.type_);
}

bool VestaURL::isValidPath(const String& text) {
    return lurlparse::IsAccepted(Parser::Parse(text.begin(), text.end()));
}

bool VestaURL::isValidSep(wchar_t sep) {
    return Parser::IsSeparator(sep);
}

bool VestaURL::isValidComponent(const String& name) {
    return !name.empty();
}

bool VestaURL::isValidProcessName(const String& name) {
    const wchar_t* p = name.begin();
    Parser::NullSink sink;
    return Parser::Component(p, name.end(), L'\0', sink) == lurlparse::kComplete &&
           p != name.begin();
}

String VestaURL::quoteComponent(const String& name, bool addQuotes) {
    String out;
    if (isValidComponent(name)) {
        out.reserve(QuotedLength(name));
        AppendQuoted(out, name, addQuotes);
    }
    return out;
}

String VestaURL::str() const {
    const wchar_t* prefix = GetRenderTypePrefixText(type_);
    const bool machineFirst = type_ == RenderType::Absolute;
    unsigned int length = static_cast<unsigned int>(std::wcslen(prefix));
    for (unsigned int i = 0; i < components_.size(); ++i) {
        const Component& c = components_[i];
        length += c.sep_ != L'\0' ? 1 : 0;
        if (c.parent_) {
            length += 2;
        } else {
            length += i == 0 && machineFirst ? c.name_.length() : QuotedLength(c.name_);
        }
    }
    String out;
    out.reserve(length);
    out.append(prefix);
    for (unsigned int i = 0; i < components_.size(); ++i) {
        const Component& c = components_[i];
        if (c.sep_ != L'\0') {
            out += c.sep_;
        }
        if (c.parent_) {
            out.append(2, Parser::dots_[0]);
        } else if (i == 0 && machineFirst) {
            // The machine is written as it stands: machine names are never quoted.
            out.append(c.name_);
        } else {
            AppendQuoted(out, c.name_, true);
        }
    }
    return out;
}

VestaURL::Component& VestaURL::at(unsigned int i) {
    if (i >= components_.size()) {
        throw exception::OutOfRange(__LINE__, kSourceFile);
    }
    return components_[i];
}

const VestaURL::Component& VestaURL::at(unsigned int i) const {
    if (i >= components_.size()) {
        throw exception::OutOfRange(__LINE__, kSourceFile);
    }
    return components_[i];
}

void VestaURL::type(RenderType type) {
    if (static_cast<std::int32_t>(type) == 0) {
        throw exception::InvalidArgument(__LINE__, kSourceFile);
    }
    type_ = type;
}

VestaURL::iterator VestaURL::findSep(wchar_t sep) {
    if (!isValidSep(sep)) {
        ThrowBadSeparator(__LINE__, sep);
    }
    iterator c = begin();
    while (c != end() && c->sep_ != sep) {
        ++c;
    }
    return c;
}

VestaURL::const_iterator VestaURL::findSep(wchar_t sep) const {
    return const_cast<VestaURL*>(this)->findSep(sep);
}

void VestaURL::prepend(const Component& c) {
    CheckAddable(c);
    components_.push_back(c);
    // Rotate the new component to the front; swapping never allocates or throws.
    for (unsigned int i = components_.size() - 1; i > 0; --i) {
        components_[i].swap(components_[i - 1]);
    }
    components_[0].setFirst(true);
    if (components_.size() > 1) {
        components_[1].setFirst(false);
    }
}

void VestaURL::append(const Component& c) {
    CheckAddable(c);
    components_.push_back(c);
    components_.back().setFirst(components_.size() == 1);
}

void VestaURL::extend(const VestaURL& other, wchar_t sep) {
    if (!isValidSep(sep)) {
        ThrowBadSeparator(__LINE__, sep);
    }
    if (&other == this) {
        const VestaURL copy(other);
        extend(copy, sep);
        return;
    }
    components_.reserve(components_.size() + other.components_.size());
    for (const Component& c : other) {
        if (c.parent_) {
            if (components_.empty()) {
                // Nothing lies above the root of a machine.
                if (type_ == RenderType::Absolute || type_ == RenderType::LocalMachine) {
                    continue;
                }
            } else if (!components_.back().parent_) {
                components_.pop_back();
                continue;
            } else if (type_ == RenderType::ProcessRelative) {
                continue;
            }
        }
        components_.push_back(c);
        Component& added = components_.back();
        if (components_.size() == 1) {
            added.setFirst(true);
        } else if (&c == other.begin()) {
            added.setFirst(false);
            added.sep_ = sep;
        } else {
            added.setFirst(false);
        }
    }
}

void VestaURL::eraseLastComponent() noexcept {
    if (!components_.empty()) {
        components_.pop_back();
    }
}

bool operator==(const VestaURL& a, const VestaURL& b) {
    return a.type_ == b.type_ && a.components_ == b.components_;
}

bool operator<(const VestaURL& a, const VestaURL& b) {
    if (a.type_ != b.type_) {
        return static_cast<std::int32_t>(a.type_) < static_cast<std::int32_t>(b.type_);
    }
    const unsigned int n = a.size() < b.size() ? a.size() : b.size();
    for (unsigned int i = 0; i < n; ++i) {
        if (a[i] < b[i]) {
            return true;
        }
        if (b[i] < a[i]) {
            return false;
        }
    }
    return a.size() < b.size();
}

std::uint32_t VestaURL::serializationSize() const {
    std::uint32_t size = 1 + 4 + 4;
    for (const Component& c : components_) {
        size += c.serializationSize();
    }
    return size;
}

void VestaURL::serialize(unsigned char*& p, const unsigned char* end) const {
    little_endian::CheckSerializationSize(serializationSize(), p, end);
    little_endian::SerializeRaw<std::uint8_t>(1, p, end);
    little_endian::SerializeRaw<std::int32_t>(static_cast<std::int32_t>(type_), p, end);
    little_endian::SerializeRaw<std::uint32_t>(components_.size(), p, end);
    for (const Component& c : components_) {
        c.serialize(p, end);
    }
}

void VestaURL::deserialize(const unsigned char*& p, const unsigned char* end) {
    const unsigned char* q = p;
    std::uint8_t version = 0;
    little_endian::DeserializeRaw(version, q, end);  // any version is read the same way
    std::int32_t type = 0;
    little_endian::DeserializeRaw(type, q, end);
    std::uint32_t count = 0;
    little_endian::DeserializeRaw(count, q, end);
    // Reject impossible counts before reserving room for them.
    if (count > static_cast<std::size_t>(end - q) / kMinComponentSize) {
        throw exception::DeserializationError(__LINE__, kSourceFile);
    }
    VestaURL fresh;
    fresh.type_ = static_cast<RenderType>(type);
    fresh.components_.reserve(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        fresh.components_.emplace_back().deserialize(q, end);
    }
    swap(fresh);
    p = q;
}

VestaURL operator+(const VestaURL& a, const VestaURL& b) {
    VestaURL r(a);
    r.extend(b, L'\\');
    return r;
}

VestaURL operator+(const VestaURL& a, const String& b) {
    return a + VestaURL(b);
}

VestaURL operator+(const String& a, const VestaURL& b) {
    return VestaURL(a) + b;
}

VestaURL operator+(const VestaURL& a, const wchar_t* b) {
    return a + VestaURL(b);
}

VestaURL operator+(const wchar_t* a, const VestaURL& b) {
    return VestaURL(a) + b;
}

}  // namespace kor
}  // namespace ka
