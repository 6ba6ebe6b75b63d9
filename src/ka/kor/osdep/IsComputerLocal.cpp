#include "ka/kor/osdep/IsComputerLocal.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstring>
#include <string>

#include "ka/kor/osdep/GetCachedHostName.h"
#include "ka/kor/osdep/GetHostName.h"
#include "ka/kor/osdep/PosixError.h"

namespace ka {
namespace kor {
namespace osdep {

namespace {

constexpr const char* kSourceFile = "ka/kor/osdep/IsComputerLocal";

// The name as plain ASCII, or false when it holds anything else (no address or DNS name does).
bool ToAscii(const String& name, std::string& out) {
    out.clear();
    out.reserve(name.length());
    for (wchar_t c : name) {
        if (c <= 0 || c > 0x7E) {
            return false;
        }
        out += static_cast<char>(c);
    }
    return true;
}

bool EndsWithNoCase(const String& text, const wchar_t* suffix) {
    const String s(suffix);
    return text.length() >= s.length() && text.substr(text.length() - s.length()) == s;
}

// An address parsed from text: family AF_INET or AF_INET6, or 0 when the text is not numeric.
struct Address {
    int family = 0;
    in_addr v4{};
    in6_addr v6{};
};

Address ParseAddress(std::string text) {
    Address a;
    if (text.size() >= 2 && text.front() == '[' && text.back() == ']') {
        text = text.substr(1, text.size() - 2);
    }
    if (::inet_pton(AF_INET, text.c_str(), &a.v4) == 1) {
        a.family = AF_INET;
        return a;
    }
    const std::string::size_type zone = text.find('%');
    if (zone != std::string::npos) {
        text.erase(zone);
    }
    if (::inet_pton(AF_INET6, text.c_str(), &a.v6) == 1) {
        a.family = AF_INET6;
    }
    return a;
}

bool IsLoopback(const Address& a) {
    if (a.family == AF_INET) {
        return (ntohl(a.v4.s_addr) >> 24) == 127;
    }
    if (IN6_IS_ADDR_LOOPBACK(&a.v6)) {
        return true;
    }
    return IN6_IS_ADDR_V4MAPPED(&a.v6) && a.v6.s6_addr[12] == 127;
}

bool IsInterfaceAddress(const Address& a) {
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) {
        throw PosixError::FromCall(__LINE__, kSourceFile, "getifaddrs");
    }
    bool found = false;
    for (const ifaddrs* i = list; i != nullptr && !found; i = i->ifa_next) {
        if (i->ifa_addr == nullptr || i->ifa_addr->sa_family != a.family) {
            continue;
        }
        if (a.family == AF_INET) {
            const auto* in = reinterpret_cast<const sockaddr_in*>(i->ifa_addr);
            found = in->sin_addr.s_addr == a.v4.s_addr;
        } else {
            const auto* in6 = reinterpret_cast<const sockaddr_in6*>(i->ifa_addr);
            found = std::memcmp(&in6->sin6_addr, &a.v6, sizeof a.v6) == 0;
        }
    }
    ::freeifaddrs(list);
    return found;
}

// The canonical name the resolver gives for this computer's host name, or empty.
String CanonicalName(const std::string& host) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_CANONNAME;
    addrinfo* result = nullptr;
    if (::getaddrinfo(host.c_str(), nullptr, &hints, &result) != 0 || result == nullptr) {
        return String();
    }
    String canonical;
    if (result->ai_canonname != nullptr) {
        for (const char* c = result->ai_canonname; *c != '\0'; ++c) {
            canonical += static_cast<wchar_t>(static_cast<unsigned char>(*c));
        }
    }
    ::freeaddrinfo(result);
    return canonical;
}

}  // namespace

bool IsComputerLocal(const String& name) {
    if (name.empty()) {
        return false;
    }
    const String host = GetHostName();
    if (name == host || name == GetCachedHostName()) {
        return true;
    }
    if (name == L"localhost" || EndsWithNoCase(name, L".localhost")) {
        return true;
    }
    std::string ascii;
    if (!ToAscii(name, ascii)) {
        return false;
    }
    const Address address = ParseAddress(ascii);
    if (address.family != 0) {
        return IsLoopback(address) || IsInterfaceAddress(address);
    }
    std::string asciiHost;
    if (!host.empty() && ToAscii(host, asciiHost) && name.length() > host.length() &&
        name[host.length()] == L'.' && name.substr(0, host.length()) == host) {
        const String canonical = CanonicalName(asciiHost);
        return !canonical.empty() && name == canonical;
    }
    return false;
}

}  // namespace osdep
}  // namespace kor
}  // namespace ka
