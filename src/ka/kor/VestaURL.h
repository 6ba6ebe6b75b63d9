// The address of a live data item: optionally a machine, a process on it, and a path of item names
// inside the process, e.g. "\\m1.cell4\proc\folder.item". Parsed from and rendered to wide text,
// compared without regard to letter case or separators, and serialized.
//
// Names that hold a backslash, ".", "'", CR or LF are written in single quotes with "'" doubled,
// so every non-empty name can be represented. A forward slash is an ordinary character.
#pragma once

#include <cstdint>

#include "ka/kor/RenderType.h"
#include "ka/kor/StringBase.h"
#include "ka/kor/Vector.h"

namespace ka {
namespace kor {

class VestaURL {
  public:
    // One name of the address, or a ".." that goes up one level.
    //
    // The setters keep these invariants: the first component of an address has separator 0 and
    // every other component a separator (so first() is true exactly when sep() is 0); a parent
    // has an empty name.
    class Component {
      public:
        // An empty name with no separator, marked first.
        Component();
        // A named component. A separator of 0 marks it first; a separator other than 0,
        // backslash or "." raises SyntaxError.
        Component(wchar_t sep, const String& name);
        Component(wchar_t sep, const wchar_t* nameBegin, const wchar_t* nameEnd);
        // A parent (".."). A separator of 0 marks it first; other invalid separators raise
        // SyntaxError.
        explicit Component(wchar_t sep);

        Component(const Component& other) = default;
        Component(Component&& other);
        Component& operator=(const Component& other) = default;
        Component& operator=(Component&& other) noexcept {
            swap(other);
            return *this;
        }
        ~Component() = default;

        wchar_t sep() const noexcept { return sep_; }
        // Sets the separator that precedes this component: 0 makes it first, backslash or "."
        // makes it a follower; anything else raises SyntaxError and changes nothing.
        void sep(wchar_t sep);

        const String& name() const noexcept { return name_; }
        // A non-empty name turns a parent into a named component.
        void name(const String& name);

        bool parent() const noexcept { return parent_; }
        // Making a component a parent empties its name.
        void parent(bool parent) noexcept;

        bool first() const noexcept { return first_; }
        // Marking a component first removes its separator; clearing the mark on a component
        // without a separator gives it a backslash.
        void setFirst(bool first) noexcept;

        void swap(Component& other) noexcept;

        // Flag byte (bit 0 parent, bit 1 first, bit 2 a separator follows), the separator as 16
        // bits when present, then the name as a serialized wide string.
        std::uint32_t serializationSize() const;
        void serialize(unsigned char*& p, const unsigned char* end) const;
        // Every field is taken as stored, whatever its value: the separator as 16 bits, the parent
        // and first marks as flagged, the name even for a parent. Only data that runs short
        // (DeserializationError) or bad UTF-8 (InvalidSequence) fails, and then this component
        // is left as it was.
        void deserialize(const unsigned char*& p, const unsigned char* end);

        // Parents equal each other; names compare without regard to letter case. The separator
        // and the first mark are deliberately ignored, so "a.b" equals "a\b".
        friend bool operator==(const Component& a, const Component& b);
        friend bool operator!=(const Component& a, const Component& b) { return !(a == b); }
        // A parent orders before any name; names in case-insensitive order.
        friend bool operator<(const Component& a, const Component& b);

      private:
        friend class VestaURL;

        String name_;
        wchar_t sep_;
        bool parent_;
        bool first_;
    };

    typedef Component* iterator;
    typedef const Component* const_iterator;

    // Empty and Relative.
    VestaURL();
    // Parses text; raises SyntaxError ("SyntaxError: " followed by the text) when isValidPath
    // rejects it. The three partial forms ("\\", "\\machine", "\\machine\process") are accepted.
    VestaURL(const String& text);
    VestaURL(const wchar_t* text);
    // Copies [first, last) as given, empty names included, and takes type; the first copy is
    // marked first (losing its separator), the others keep their marks. Type 0 raises
    // InvalidArgument.
    VestaURL(const Component* first, const Component* last, RenderType type);
    // The prefix of url that ends before last, with url's type.
    VestaURL(const VestaURL& url, const Component* last);
    VestaURL(const VestaURL& other) = default;
    VestaURL(VestaURL&& other) noexcept = default;
    VestaURL& operator=(const VestaURL& other) = default;
    VestaURL& operator=(VestaURL&& other) noexcept = default;
    ~VestaURL() = default;
    void swap(VestaURL& other) noexcept;

    // True when text is a complete address or one of the three accepted partial forms.
    static bool isValidPath(const String& text);
    // True for backslash and "." only.
    static bool isValidSep(wchar_t sep);
    // True for any non-empty name: quoting makes every such name representable.
    static bool isValidComponent(const String& name);
    // True when text begins with a well-formed component: a closed quotation ("''" included) or
    // at least one character that needs no quotes. Deliberately, the rest of the text after that
    // first component is not examined.
    static bool isValidProcessName(const String& name);
    // An empty name gives the empty text; a name without backslash, ".", "'", CR or LF is
    // returned as it is; any other name with every "'" doubled, and enclosed in "'" when
    // addQuotes is true.
    static String quoteComponent(const String& name, bool addQuotes);

    // The text of the address: the type's prefix, then each component preceded by its separator;
    // a parent is written "..", the machine of an Absolute address as it stands, every other name
    // quoted where it needs to be, and an empty name as nothing. Nothing follows a final parent,
    // so the address read from "..\..\" is written "..\..", which does not read back; any other
    // address the parser produced, without empty names, reads back equal with the same
    // separators.
    String str() const;
    operator String() const { return str(); }

    iterator begin() noexcept { return components_.begin(); }
    iterator end() noexcept { return components_.end(); }
    const_iterator begin() const noexcept { return components_.begin(); }
    const_iterator end() const noexcept { return components_.end(); }
    unsigned int size() const noexcept { return components_.size(); }
    bool empty() const noexcept { return components_.empty(); }
    // Unchecked.
    Component& operator[](unsigned int i) noexcept { return components_[i]; }
    const Component& operator[](unsigned int i) const noexcept { return components_[i]; }
    // Checked: an index at or past size() raises OutOfRange.
    Component& at(unsigned int i);
    const Component& at(unsigned int i) const;

    RenderType type() const noexcept { return type_; }
    // Any value but 0, which raises InvalidArgument.
    void type(RenderType type);

    // The first component preceded by sep, or end(). A sep other than backslash or "." raises
    // SyntaxError ("SyntaxError: " followed by the character).
    iterator findSep(wchar_t sep);
    const_iterator findSep(wchar_t sep) const;

    // Adds a copy of c at the front (marked first; the old front gets a backslash if it had no
    // separator) or at the back (marked first when the address was empty, otherwise given a
    // backslash if it had no separator). A component that is neither a parent nor named raises
    // SyntaxError and changes nothing.
    void prepend(const Component& c);
    void append(const Component& c);

    // Appends other's components in order, joining other's first component with sep (backslash
    // or ".", else SyntaxError before anything changes). A parent cancels a preceding name; a
    // parent at the root of an Absolute or LocalMachine address is dropped (nothing lies above
    // it); a parent after a parent is kept, except in a ProcessRelative address, which is
    // deliberately limited to one leading "..".
    void extend(const VestaURL& other, wchar_t sep);

    // Removes the last component; nothing happens to an empty address.
    void eraseLastComponent() noexcept;

    // Equal types and pairwise equal components (see Component).
    friend bool operator==(const VestaURL& a, const VestaURL& b);
    friend bool operator!=(const VestaURL& a, const VestaURL& b) { return !(a == b); }
    // Smaller type first; then components in order; a proper prefix orders first.
    friend bool operator<(const VestaURL& a, const VestaURL& b);

    // A format version byte (written 1, not checked when read), the type as signed 32 bits, the
    // component count as 32 bits, then the components. Little-endian. serialize raises
    // BufferOverflow before writing anything when the range is too short. deserialize takes the
    // type and the components as stored (see Component::deserialize), any type value included;
    // it raises only DeserializationError for data that runs short (or InvalidSequence for bad
    // UTF-8), and then leaves this address as it was.
    std::uint32_t serializationSize() const;
    void serialize(unsigned char*& p, const unsigned char* end) const;
    void deserialize(const unsigned char*& p, const unsigned char* end);

  private:
    struct Builder;

    void parse(const wchar_t* begin, const wchar_t* end);

    // Vector rather than std::vector: its iterators are plain pointers, which the constructors
    // that take Component ranges rely on, its storage comes from the library heap like every
    // other container handed across the library boundary, and its sizes are 32-bit on both
    // architectures.
    Vector<Component> components_;
    RenderType type_;
};

inline void swap(VestaURL& a, VestaURL& b) noexcept {
    a.swap(b);
}
inline void swap(VestaURL::Component& a, VestaURL::Component& b) noexcept {
    a.swap(b);
}

// The left address extended by the right one (parsed when given as text), joined with a
// backslash.
VestaURL operator+(const VestaURL& a, const VestaURL& b);
VestaURL operator+(const VestaURL& a, const String& b);
VestaURL operator+(const String& a, const VestaURL& b);
VestaURL operator+(const VestaURL& a, const wchar_t* b);
VestaURL operator+(const wchar_t* a, const VestaURL& b);

}  // namespace kor
}  // namespace ka
