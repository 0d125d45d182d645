// Preloaded into the agent: the two files that mark NPV mode are looked for below $VYN_MARKERS, so a
// test makes its own and never looks at this machine's.

#include <dlfcn.h>
#include <fcntl.h>

#include <cstdarg>
#include <cstdlib>
#include <string>
#include <string_view>

extern "C" int open(const char *path, int flags, ...) {
    static const auto next = reinterpret_cast<int (*)(const char *, int, mode_t)>(dlsym(RTLD_NEXT, "open"));
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list rest;
        va_start(rest, flags);
        mode = va_arg(rest, mode_t);
        va_end(rest);
    }
    const char *folder = getenv("VYN_MARKERS");
    if (folder != nullptr && std::string_view(path).ends_with("/fc_nport_mux"))
        return next((std::string(folder) + path).c_str(), flags, mode);
    return next(path, flags, mode);
}
