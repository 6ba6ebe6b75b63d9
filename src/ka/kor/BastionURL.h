// The address of archived data in the historical database: "\\dbmachine\database\item", where
// the item part is the text of the archived item's VestaURL without its two leading backslashes.
// Components are separated by backslashes only and are never quoted.
#pragma once

#include <cstdint>

#include "ka/kor/RenderType.h"
#include "ka/kor/StringBase.h"
#include "ka/kor/Vector.h"
#include "ka/kor/VestaURL.h"

namespace ka {
namespace kor {

class BastionURL {
  public:
    typedef String* iterator;
    typedef const String* const_iterator;

    // Empty and Relative.
    BastionURL();
    // Parses text; raises SyntaxError ("SyntaxError: " followed by the text) when isValidPath
    // rejects it.
    BastionURL(const String& text);
    BastionURL(const wchar_t* text);
    // Takes the components [first, last) and type; raises InvalidArgument for a type other than
    // Absolute or Relative and SyntaxError when componentsAreValid rejects the components.
    BastionURL(const String* first, const String* last, RenderType type);
    // The prefix of url that ends before last, with url's type.
    BastionURL(const BastionURL& url, const String* last);
    // "\\machine\database" followed by item's machine, process and path: item is rendered, its
    // first two characters (the two backslashes of an Absolute or LocalMachine item) are dropped
    // and the rest, cut at each backslash, is appended. An item of another type loses its first
    // two characters all the same ("\x\y" adds "" and "y", "ab\c" adds "c"), and an item that
    // renders to two characters or fewer adds nothing. An item without components adds nothing.
    // Raises SyntaxError for an invalid machine or database name.
    BastionURL(const String& machine, const String& database, const VestaURL& item);
    BastionURL(const BastionURL& other) = default;
    BastionURL(BastionURL&& other) noexcept = default;
    BastionURL& operator=(const BastionURL& other) = default;
    BastionURL& operator=(BastionURL&& other) noexcept = default;
    ~BastionURL() = default;
    void swap(BastionURL& other) noexcept;

    // The archived item: the components after the database read as a VestaURL with two
    // backslashes in front; an empty VestaURL when there are none or the address is not
    // Absolute. Raises SyntaxError when that text is not a valid item address.
    VestaURL getVestaURLComponent() const;

    // The type is judged from the first three characters and must be Absolute or Relative; the
    // rest is cut at each backslash. An Absolute address starts with a machine name and then a
    // database name; every other component may hold anything but a backslash, empty included.
    // An empty remainder is valid.
    static bool isValidPath(const String& text);
    static bool isValidPath(const wchar_t* begin, const wchar_t* end);
    // Backslash only.
    static bool isValidSep(wchar_t sep);
    // Anything without a backslash; the empty name included.
    static bool isValidComponent(const String& name);
    static bool isValidComponent(const wchar_t* begin, const wchar_t* end);
    // Not empty; a first character outside backslash, ".", "'", CR, LF, "/", space and tab;
    // then characters outside that set or ".".
    static bool isValidMachineName(const String& name);
    static bool isValidMachineName(const wchar_t* begin, const wchar_t* end);
    // 3 to 128 characters, none of backslash, "/", ":", "*", "?", '"', "<", ">", "|".
    static bool isValidDatabaseName(const String& name);
    static bool isValidDatabaseName(const wchar_t* begin, const wchar_t* end);

    // Every component valid for its position; false for a type other than Absolute or Relative.
    bool componentsAreValid() const;
    static bool componentsAreValid(const Vector<String>& components, RenderType type);

    // Replaces, in place, every backslash and every character of illegal (a zero-terminated list,
    // may be null) with replacement.
    static void stripIllegalCharacters(String& text, wchar_t replacement, const wchar_t* illegal);

    // When this is an Absolute address whose machine names this computer (IsComputerLocal:
    // "localhost", a loopback or local address, the host name in another letter case...),
    // replaces the machine with this computer's host name: the cached one when useCachedHostName
    // is true, one queried afresh otherwise. Anything else is left as it is.
    void makeCanonical(bool useCachedHostName);

    // Two backslashes for an Absolute address, then the components joined by single
    // backslashes, unquoted.
    String str() const;
    operator String() const { return str(); }

    RenderType type() const noexcept { return type_; }
    // Absolute or Relative; anything else raises InvalidArgument. Components are not checked.
    void type(RenderType type);

    // Adds a component at the back. A component that would be invalid at its position (see
    // isValidPath) raises SyntaxError and changes nothing.
    void append(const String& component);
    // Appends other's components in order, each checked as by append; on failure this address
    // is left as it was.
    void extend(const BastionURL& other);

    iterator begin() noexcept { return components_.begin(); }
    iterator end() noexcept { return components_.end(); }
    const_iterator begin() const noexcept { return components_.begin(); }
    const_iterator end() const noexcept { return components_.end(); }
    unsigned int size() const noexcept { return components_.size(); }
    bool empty() const noexcept { return components_.empty(); }
    // Unchecked.
    String& operator[](unsigned int i) noexcept { return components_[i]; }
    const String& operator[](unsigned int i) const noexcept { return components_[i]; }
    // Removes the last component; nothing happens to an empty address.
    void eraseLastComponent() noexcept;

    // Equal types and pairwise equal components, compared without regard to letter case.
    friend bool operator==(const BastionURL& a, const BastionURL& b);
    friend bool operator!=(const BastionURL& a, const BastionURL& b) { return !(a == b); }
    // Smaller type first; then components in order; a proper prefix orders first.
    friend bool operator<(const BastionURL& a, const BastionURL& b);

    // The type as signed 32 bits, the component count as 32 bits, then each component as a
    // serialized wide string; little-endian. Deliberately without the version byte that
    // VestaURL writes. serialize raises BufferOverflow before writing anything when the range is
    // too short. deserialize takes the type and components as stored, any type value included
    // (componentsAreValid tells whether they make a valid address); it raises only
    // DeserializationError for data that runs short (or InvalidSequence for bad UTF-8), and then
    // leaves this address as it was.
    std::uint32_t serializationSize() const;
    void serialize(unsigned char*& p, const unsigned char* end) const;
    void deserialize(const unsigned char*& p, const unsigned char* end);

  private:
    void parse(const wchar_t* begin, const wchar_t* end);
    // Whether name is valid as component number index of an address of type type.
    static bool isValidAt(const wchar_t* begin, const wchar_t* end, unsigned int index,
                          RenderType type);

    Vector<String> components_;
    RenderType type_;
};

inline void swap(BastionURL& a, BastionURL& b) noexcept {
    a.swap(b);
}

// The left address extended by the right one (parsed when given as text).
BastionURL operator+(const BastionURL& a, const BastionURL& b);
BastionURL operator+(const BastionURL& a, const String& b);
BastionURL operator+(const String& a, const BastionURL& b);
BastionURL operator+(const BastionURL& a, const wchar_t* b);
BastionURL operator+(const wchar_t* a, const BastionURL& b);

}  // namespace kor
}  // namespace ka
