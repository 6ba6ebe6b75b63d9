// Item addresses as the provider keys them: absolute (\\machine\process\path), with the machine
// of this computer always under one name, so that "\\localhost\p\x", "\\127.0.0.1\p\x" and
// "\\<host name>\p\x" name the same item. Names compare without regard to letter case and "."
// and "\" separate alike (the address rules of VestaURL).
#pragma once

#include <string>

#include "ka/kor/StringBase.h"
#include "ka/kor/VestaURL.h"

namespace vesta {

// Parses a client's item address: two backslashes and a machine ("." for this computer), a
// process and at least one name below it, no "..". False (out unchanged) for anything else.
// std::bad_alloc may escape.
bool ParseItemURL(const wchar_t* text, ka::kor::VestaURL& out);

// \\machine\process for a host; an empty machine is this computer. SyntaxError when a name is
// empty or the address does not read back as exactly these two names.
ka::kor::VestaURL MakeProcessURL(const std::wstring& machine, const std::wstring& process);

// The process address extended by a path below it ("a.b" or "a\b"). SyntaxError when the path
// does not parse; InvalidArgument when it is empty, absolute, or holds "..".
ka::kor::VestaURL MakeItemURL(const ka::kor::VestaURL& process, const std::wstring& path);

// The machine and process of an item address.
ka::kor::VestaURL ProcessOf(const ka::kor::VestaURL& item);

// Whether `url` has the two components of `process` in front.
bool IsBelowProcess(const ka::kor::VestaURL& url, const ka::kor::VestaURL& process);

// This computer's host name for any name that denotes this computer, else the name itself.
ka::kor::String CanonicalMachine(const ka::kor::String& name);

std::wstring ToWide(const ka::kor::String& s);

}  // namespace vesta
