// PUtils::getHostAddress: the host's IPv4 address as text, unless
// QRIX_HOST_IP names one, through the resolver.
#include "qrixPUtils.h"

#include <netdb.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "qrixPDebug.h"

namespace {

constexpr size_t HOST_NAME_SIZE = 513;

void replaceHostName(char* hostname, const char* name)
{
    std::strncpy(hostname, name, HOST_NAME_SIZE - 1);
    hostname[HOST_NAME_SIZE - 1] = '\0';
}

// A bare host name is widened to its dotted official name, or failing that to
// the last dotted alias that begins with the official name.
int qualifyHostName(char* hostname)
{
    struct hostent* entry = gethostbyname(hostname);
    if (!entry) {
        qrix_pl_debug_print("%s: gethostbyname(%s) failed. errno: %d (%s)\n", "getHostAddress", hostname,
                            errno, strerror(errno));
        return PRES_FAILED;
    }
    if (std::strchr(entry->h_name, '.')) {
        replaceHostName(hostname, entry->h_name);
    } else if (entry->h_aliases) {
        size_t officialLength = std::strlen(entry->h_name);
        for (char** alias = entry->h_aliases; *alias; ++alias) {
            if (std::strchr(*alias, '.') && strncasecmp(*alias, entry->h_name, officialLength) == 0)
                replaceHostName(hostname, *alias);
        }
    }
    qrix_pl_debug_print("%s: new lHostname[%s]\n", "getHostAddress", hostname);
    return PRES_OK;
}

int resolveIPv4(const char* hostname, char* text, size_t textSize)
{
    struct addrinfo hints;
    std::memset(&hints, 0, sizeof(hints));
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    // The meaning of the BSD default flags, spelled for this resolver.
    hints.ai_flags = AI_V4MAPPED | AI_ADDRCONFIG;
    struct addrinfo* list = nullptr;
    if (getaddrinfo(hostname, nullptr, &hints, &list) != 0) {
        qrix_pl_debug_print("%s: [ERR] getaddrinfo() failed! errno: %d (%s)\n", "getHostAddress", errno,
                            strerror(errno));
        return PRES_FAILED;
    }
    int res = PRES_OK;
    if (getnameinfo(list->ai_addr, sizeof(struct sockaddr_in), text, (socklen_t)textSize, nullptr, 0,
                    NI_NUMERICHOST) != 0) {
        qrix_pl_debug_print("%s: [ERR] getnameinfo() failed! errno: %d (%s)\n", "getHostAddress", errno,
                            strerror(errno));
        res = PRES_FAILED;
    } else {
        qrix_pl_debug_print("%s: [INFO] Resolved host name [%s] to address [%s]\n", "getHostAddress",
                            hostname, text);
    }
    freeaddrinfo(list);
    return res;
}

} // namespace

int PUtils::getHostAddress(PString& address)
{
    const char* forced = std::getenv("QRIX_HOST_IP");
    if (forced) {
        address.set(forced);
        qrix_pl_debug_print("%s: Using 'QRIX_HOST_IP' variable [%s]\n", "getHostAddress", forced);
        return PRES_OK;
    }

    char hostname[HOST_NAME_SIZE];
    std::memset(hostname, 0, sizeof(hostname));
    if (gethostname(hostname, HOST_NAME_SIZE - 1) != 0) {
        qrix_pl_debug_print("%s: gethostname() failed errno: %d (%s)\n", "getHostAddress", errno,
                            strerror(errno));
        return PRES_FAILED;
    }
    qrix_pl_debug_print("%s: got lHostname[%s]\n", "getHostAddress", hostname);

    if (!std::strchr(hostname, '.')) {
        int res = qualifyHostName(hostname);
        if (res != PRES_OK)
            return res;
    }

    char text[512];
    std::memset(text, 0, sizeof(text));
    int res = PRES_NOT_FOUND;
    if (hostname[0] != '\0') {
        res = resolveIPv4(hostname, text, sizeof(text));
        if (res == PRES_OK)
            address.set(text);
    }
    qrix_pl_debug_print("%s: returning host Address [%s] res: %d\n", "getHostAddress", text, res);
    return res;
}
