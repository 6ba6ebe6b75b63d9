#include "qbrealt/ItemURL.h"

#include "ka/kor/exception.h"
#include "ka/kor/osdep/GetCachedHostName.h"
#include "ka/kor/osdep/IsComputerLocal.h"

namespace vesta {

namespace {

using ka::kor::RenderType;
using ka::kor::String;
using ka::kor::VestaURL;
namespace ex = ka::kor::exception;

const char kFile[] = "vesta/ItemURL";

bool HasParent(const VestaURL& url) {
    for (const VestaURL::Component& c : url) {
        if (c.parent()) {
            return true;
        }
    }
    return false;
}

String HostName() {
    try {
        return ka::kor::osdep::GetCachedHostName();
    } catch (const ex::Exception&) {
        // Without a host name this computer is still itself; "localhost" keeps local addresses
        // working and is what the loopback names resolve to anyway.
        return String(L"localhost");
    }
}

}  // namespace

String CanonicalMachine(const String& name) {
    const String host = HostName();
    if (name == host) {
        return host;
    }
    try {
        if (ka::kor::osdep::IsComputerLocal(name)) {
            return host;
        }
    } catch (const ex::Exception&) {
        // An interface listing that fails leaves the name as it stands: it then names a
        // machine of its own, which is what an unknown name should do.
    }
    return name;
}

bool ParseItemURL(const wchar_t* text, VestaURL& out) {
    VestaURL url;
    try {
        url = VestaURL(text);
    } catch (const ex::Exception&) {
        return false;
    }
    if (HasParent(url)) {
        return false;
    }
    if (url.type() == RenderType::LocalMachine) {
        const VestaURL::Component machine(L'\0', HostName());
        VestaURL absolute(&machine, &machine + 1, RenderType::Absolute);
        for (const VestaURL::Component& c : url) {
            absolute.append(c);
        }
        url.swap(absolute);
    } else if (url.type() != RenderType::Absolute) {
        return false;
    }
    if (url.size() < 3) {
        return false;
    }
    url[0].name(CanonicalMachine(url[0].name()));
    out.swap(url);
    return true;
}

VestaURL MakeProcessURL(const std::wstring& machine, const std::wstring& process) {
    const String m =
        machine.empty() ? HostName()
                        : CanonicalMachine(String(machine.data(), machine.data() + machine.size()));
    const String p(process.data(), process.data() + process.size());
    if (m.length() == 0 || p.length() == 0) {
        throw ex::SyntaxError(__LINE__, kFile, "a host needs a machine and a process name");
    }
    const VestaURL::Component parts[2] = {VestaURL::Component(L'\0', m),
                                          VestaURL::Component(L'\\', p)};
    return VestaURL(parts, parts + 2, RenderType::Absolute);
}

VestaURL MakeItemURL(const VestaURL& process, const std::wstring& path) {
    const VestaURL relative(String(path.data(), path.data() + path.size()));
    if (relative.empty() || relative.type() != RenderType::Relative || HasParent(relative)) {
        throw ex::InvalidArgument(__LINE__, kFile);
    }
    VestaURL url(process);
    url.extend(relative, L'\\');
    return url;
}

VestaURL ProcessOf(const VestaURL& item) {
    return VestaURL(item.begin(), item.begin() + (item.size() < 2 ? item.size() : 2),
                    RenderType::Absolute);
}

bool IsBelowProcess(const VestaURL& url, const VestaURL& process) {
    return url.size() > 2 && url[0] == process[0] && url[1] == process[1];
}

std::wstring ToWide(const String& s) {
    return std::wstring(s.begin(), s.end());
}

}  // namespace vesta
