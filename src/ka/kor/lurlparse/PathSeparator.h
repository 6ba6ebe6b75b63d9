// The character-level grammar of item addresses ("\\machine\process\path.item"): the character
// tables and a single-pass parser that reports either the components it found or the status at
// which the text was rejected. One instantiation exists for wchar_t (used by VestaURL) and one for
// char; their tables hold the same characters.
#pragma once

#include <type_traits>

namespace ka {
namespace kor {
namespace lurlparse {

// Outcome of a parse. Complete and the three partial forms are accepted; the rest reject the
// text. The numbers are kept stable so that diagnostics can name them.
enum ParseStatus : int {
    kComplete = 0,
    kNothingAfterProcess = 2,       // accepted: "\\m\p" or "\\m\p\" or a path of parents only
    kNoMachine = 3,                 // accepted: two backslashes and nothing else
    kNoProcess = 4,                 // accepted: "\\m" or "\\."
    kThreeLeadingBackslashes = 5,   // "\\\..."
    kTooFewLeadingBackslashes = 6,  // a machine form without its two backslashes
    kNoBackslashAfterMachine = 7,   // "\\m/x", "\\.x"
    kEmptyComponent = 8,            // two separators in a row, or "." directly after one
    kNoBackslashAfterProcess = 9,   // "\\m\p.x"
    kMissingDotOrBackslash = 10,    // local form without ".", process form without "\"
    kTextLeftOver = 11,             // characters after a component, or a bad ".."
    kEmptyUnquotedComponent = 12,  // an unquoted component starting with a character it cannot hold
    kBadMachineStart = 13,         // a machine name starting with an illegal character
    kUnterminatedQuotation = 14,   // "'abc" with no closing quote
};

// True for the complete form and the three accepted partial forms.
constexpr bool IsAccepted(int status) {
    return status == kComplete || status == kNothingAfterProcess || status == kNoMachine ||
           status == kNoProcess;
}

// A short English description of a status ("three leading backslashes"); "unknown status" for
// numbers that are not statuses.
const char* GetParseStatusText(int status);

namespace detail {

// Membership of the ASCII characters of a zero-terminated table, built at compile time so that
// classifying a character costs one comparison and a shift instead of a scan of the table.
struct AsciiSet {
    unsigned long long low;   // characters 0-63
    unsigned long long high;  // characters 64-127

    template <typename C>
    static constexpr AsciiSet Of(const C* table) {
        AsciiSet set{0, 0};
        for (; *table != C(); ++table) {
            const unsigned long long c = static_cast<unsigned long long>(*table);
            if (c < 64) {
                set.low |= 1ull << c;
            } else {
                set.high |= 1ull << (c - 64);
            }
        }
        return set;
    }

    template <typename C>
    constexpr bool contains(C c) const {
        const unsigned long long u = static_cast<typename std::make_unsigned<C>::type>(c);
        return u < 64 ? (low >> u) & 1 : (u < 128 && ((high >> (u - 64)) & 1));
    }
};

}  // namespace detail

template <typename C>
class PathSeparator {
  public:
    // Each table is zero-terminated and holds ASCII characters only.
    // The only separator between machine, process and path.
    static constexpr C slashes_[2] = {C('\\'), C()};
    // The second path separator; also the local-machine mark and the parent mark.
    static constexpr C dots_[2] = {C('.'), C()};
    // Opens and closes a quoted component.
    static constexpr C quote_[2] = {C('\''), C()};
    // May not stand unquoted in a process or path component.
    static constexpr C special_[6] = {C('\\'), C('.'), C('\''), C('\r'), C('\n'), C()};
    // May not stand in a machine name ("." may, after the first character).
    static constexpr C badMachine_[9] = {C('\\'), C('.'), C('\''), C('\r'), C('\n'),
                                         C('/'),  C(' '), C('\t'), C()};
    // Range bounds kept with the tables; no rule of the grammar consults them.
    static constexpr C a_ = C('a'), z_ = C('z'), A_ = C('A'), Z_ = C('Z');
    static constexpr C zero_ = C('0'), nine_ = C('9'), dash_ = C('-'), under_ = C('_');

    static bool IsSlash(C c) { return c == slashes_[0]; }
    static bool IsDot(C c) { return c == dots_[0]; }
    static bool IsQuote(C c) { return c == quote_[0]; }
    static bool IsSeparator(C c) { return IsSlash(c) || IsDot(c); }
    static bool IsSpecial(C c) { return kSpecial.contains(c); }
    static bool IsBadMachine(C c) { return kBadMachine.contains(c); }

    // Receives nothing; for validation only.
    struct NullSink {
        void component(C, const C*, const C*, bool) {}
        void parent(C) {}
    };

    // Parses [p, end) with the grammar chosen from its first characters and returns the status.
    // The sink is told, in order, of every component found: sink.parent(sep) for "..", and
    // sink.component(sep, begin, end, quoted) for a name, where sep is the separator character
    // that preceded it (0 at the start of the text) and a quoted name is given without its
    // quotes but with doubled quotes still doubled. The "." machine of the local form and a
    // trailing separator produce nothing. The sink may have been told of components before a
    // failing status is returned.
    //
    // Choice of grammar: empty text is relative; two backslashes alone are the accepted form with
    // no machine; three backslashes are rejected; two backslashes and "." start the local form,
    // two backslashes and anything else the absolute form; one backslash starts the process
    // form; anything else is relative.
    template <typename Sink>
    static int Parse(const C* p, const C* end, Sink& sink);
    static int Parse(const C* p, const C* end) {
        NullSink sink;
        return Parse(p, end, sink);
    }

    // The individual grammars, usable on their own so that each can be checked separately.
    //
    // Absolute: "\\" machine [ "\" process [ "\" path ] ]. The machine is a single "." or a first
    // character outside badMachine_ followed by characters outside badMachine_ or ".".
    template <typename Sink>
    static int Absolute(const C* p, const C* end, Sink& sink);
    // Local machine: "\\." [ "\" process [ "\" relative path ] ].
    template <typename Sink>
    static int LocalMachine(const C* p, const C* end, Sink& sink);
    // Process-relative: "\" [ "..\" ] relative path. Deliberately at most one leading "..".
    template <typename Sink>
    static int ProcessRelative(const C* p, const C* end, Sink& sink);
    // Relative: any number of "..\" then a path: component { separator component }, where a
    // single "." or "\" as the very last character is accepted and ignored.
    template <typename Sink>
    static int Relative(const C* p, const C* end, Sink& sink) {
        return RelativeFrom(p, end, sink, C());
    }

    // Scans one component at p: a quotation, or the longest run of characters outside special_.
    // On success advances p past it and returns kComplete; an empty text is an empty component
    // (nothing reported), and so is "''", which is reported as an empty name. A run that holds
    // nothing gives kEmptyUnquotedComponent; a quotation without its closing quote
    // kUnterminatedQuotation.
    template <typename Sink>
    static int Component(const C*& p, const C* end, C sep, Sink& sink);

  private:
    static constexpr detail::AsciiSet kSpecial = detail::AsciiSet::Of(special_);
    static constexpr detail::AsciiSet kBadMachine = detail::AsciiSet::Of(badMachine_);

    template <typename Sink>
    static int AfterMachine(const C* p, const C* end, Sink& sink, bool relativePath);
    template <typename Sink>
    static int RelativeFrom(const C* p, const C* end, Sink& sink, C sep);
    template <typename Sink>
    static int Path(const C* p, const C* end, Sink& sink, C sep);
};

// The characters that force a name into quotes when it is rendered: the same as special_.
template <typename C>
struct CSingleQuote {
    static constexpr C special_[6] = {C('\\'), C('.'), C('\''), C('\r'), C('\n'), C()};

    static bool IsSpecial(C c) { return kSpecial.contains(c); }

  private:
    static constexpr detail::AsciiSet kSpecial = detail::AsciiSet::Of(special_);
};

// ---- Grammar -----------------------------------------------------------------------------------

template <typename C>
template <typename Sink>
int PathSeparator<C>::Parse(const C* p, const C* end, Sink& sink) {
    if (p == end || !IsSlash(p[0])) {
        return RelativeFrom(p, end, sink, C());
    }
    if (end - p < 2 || !IsSlash(p[1])) {
        return ProcessRelative(p, end, sink);
    }
    if (end - p == 2) {
        return kNoMachine;
    }
    if (IsSlash(p[2])) {
        return kThreeLeadingBackslashes;
    }
    if (IsDot(p[2])) {
        return LocalMachine(p, end, sink);
    }
    return Absolute(p, end, sink);
}

template <typename C>
template <typename Sink>
int PathSeparator<C>::Absolute(const C* p, const C* end, Sink& sink) {
    for (int i = 0; i < 2; ++i, ++p) {
        if (p == end || !IsSlash(*p)) {
            return kTooFewLeadingBackslashes;
        }
    }
    if (p == end) {
        return kNoMachine;
    }
    if (IsSlash(*p)) {
        return kThreeLeadingBackslashes;
    }
    if (IsDot(*p)) {
        // The local-machine mark: it names no machine, so nothing is reported.
        ++p;
    } else {
        if (IsBadMachine(*p)) {
            return kBadMachineStart;
        }
        const C* machine = p;
        for (++p; p != end && (!IsBadMachine(*p) || IsDot(*p)); ++p) {
        }
        sink.component(C(), machine, p, false);
    }
    return AfterMachine(p, end, sink, false);
}

template <typename C>
template <typename Sink>
int PathSeparator<C>::LocalMachine(const C* p, const C* end, Sink& sink) {
    for (int i = 0; i < 2; ++i, ++p) {
        if (p == end || !IsSlash(*p)) {
            return kTooFewLeadingBackslashes;
        }
    }
    if (p == end || !IsDot(*p)) {
        return kMissingDotOrBackslash;
    }
    return AfterMachine(p + 1, end, sink, true);
}

template <typename C>
template <typename Sink>
int PathSeparator<C>::AfterMachine(const C* p, const C* end, Sink& sink, bool relativePath) {
    if (p == end) {
        return kNoProcess;
    }
    if (!IsSlash(*p)) {
        return kNoBackslashAfterMachine;
    }
    const C sep = *p++;
    if (p != end && IsSeparator(*p)) {
        return kEmptyComponent;
    }
    if (const int status = Component(p, end, sep, sink)) {
        return status;
    }
    if (p == end) {
        return kNothingAfterProcess;
    }
    if (!IsSlash(*p)) {
        return kNoBackslashAfterProcess;
    }
    const C pathSep = *p++;
    if (p == end) {
        return kNothingAfterProcess;
    }
    if (IsSeparator(*p)) {
        return kEmptyComponent;
    }
    return relativePath ? RelativeFrom(p, end, sink, pathSep) : Path(p, end, sink, pathSep);
}

template <typename C>
template <typename Sink>
int PathSeparator<C>::ProcessRelative(const C* p, const C* end, Sink& sink) {
    if (p == end || !IsSlash(*p)) {
        return kMissingDotOrBackslash;
    }
    C sep = *p++;
    if (p != end && IsDot(*p)) {
        if (end - p < 3 || !IsDot(p[1]) || !IsSlash(p[2])) {
            return kTextLeftOver;
        }
        sink.parent(sep);
        sep = p[2];
        p += 3;
    }
    if (p != end && IsSeparator(*p)) {
        return kEmptyComponent;
    }
    return RelativeFrom(p, end, sink, sep);
}

template <typename C>
template <typename Sink>
int PathSeparator<C>::RelativeFrom(const C* p, const C* end, Sink& sink, C sep) {
    while (p != end && IsDot(*p)) {
        if (end - p < 3 || !IsDot(p[1]) || !IsSlash(p[2])) {
            return kTextLeftOver;
        }
        sink.parent(sep);
        sep = p[2];
        p += 3;
        if (p != end && IsSlash(*p)) {
            return kEmptyComponent;
        }
    }
    if (p == end) {
        return kNothingAfterProcess;
    }
    return Path(p, end, sink, sep);
}

template <typename C>
template <typename Sink>
int PathSeparator<C>::Path(const C* p, const C* end, Sink& sink, C sep) {
    if (const int status = Component(p, end, sep, sink)) {
        return status;
    }
    while (p != end) {
        if (!IsSeparator(*p)) {
            return kTextLeftOver;
        }
        sep = *p++;
        // A separator as the very last character is accepted and names nothing.
        if (p == end) {
            break;
        }
        if (IsSeparator(*p)) {
            return kEmptyComponent;
        }
        if (const int status = Component(p, end, sep, sink)) {
            return status;
        }
    }
    return kComplete;
}

template <typename C>
template <typename Sink>
int PathSeparator<C>::Component(const C*& p, const C* end, C sep, Sink& sink) {
    if (p == end) {
        return kComplete;
    }
    if (IsQuote(*p)) {
        const C* first = p + 1;
        const C* q = first;
        for (;;) {
            if (q == end) {
                return kUnterminatedQuotation;
            }
            if (IsQuote(*q)) {
                if (q + 1 != end && IsQuote(q[1])) {
                    q += 2;
                    continue;
                }
                break;
            }
            ++q;
        }
        sink.component(sep, first, q, true);
        p = q + 1;
        return kComplete;
    }
    const C* first = p;
    while (p != end && !IsSpecial(*p)) {
        ++p;
    }
    if (p == first) {
        return kEmptyUnquotedComponent;
    }
    sink.component(sep, first, p, false);
    return kComplete;
}

extern template class PathSeparator<char>;
extern template class PathSeparator<wchar_t>;
extern template struct CSingleQuote<char>;
extern template struct CSingleQuote<wchar_t>;

}  // namespace lurlparse
}  // namespace kor
}  // namespace ka
