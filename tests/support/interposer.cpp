// Preloaded library that makes chosen calls fail or behave oddly; interposer.md describes its variables.
//
// It runs inside a foreign program, partly before that program's libraries are set up, and inside its
// allocator. So it allocates nothing, keeps all state in static storage, and calls the C library's next
// definition of each function (which, in a sanitizer build, is the sanitizer's).

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr unsigned CALL_OPEN = 0x1;
constexpr unsigned CALL_READ = 0x2;
constexpr unsigned CALL_WRITE = 0x4;
constexpr unsigned CALL_PREAD = 0x8;
constexpr unsigned CALL_PWRITE = 0x10;
constexpr unsigned CALL_FSTAT = 0x20;
constexpr unsigned CALL_CLOSE = 0x40;
constexpr unsigned CALL_MALLOC = 0x80;
constexpr unsigned STREAM_CALLS = CALL_READ | CALL_WRITE | CALL_CLOSE;

constexpr int MAX_RULES = 16;
constexpr size_t MAX_TEXT = 4096;
constexpr long ABSENT = -1;

struct name_value {
    const char *name;
    int value;
};

constexpr name_value CALL_NAMES[] = {{"open", CALL_OPEN},   {"read", CALL_READ},     {"write", CALL_WRITE},
                                     {"pread", CALL_PREAD}, {"pwrite", CALL_PWRITE}, {"fstat", CALL_FSTAT},
                                     {"close", CALL_CLOSE}, {"malloc", CALL_MALLOC}};

constexpr name_value ERROR_NAMES[] = {
    {"EACCES", EACCES}, {"EAGAIN", EAGAIN}, {"EBADF", EBADF},   {"EDQUOT", EDQUOT}, {"EFBIG", EFBIG},
    {"EINTR", EINTR},   {"EINVAL", EINVAL}, {"EIO", EIO},       {"EISDIR", EISDIR}, {"EMFILE", EMFILE},
    {"ENFILE", ENFILE}, {"ENOENT", ENOENT}, {"ENOMEM", ENOMEM}, {"ENOSPC", ENOSPC}, {"EOVERFLOW", EOVERFLOW},
    {"EPERM", EPERM},   {"EROFS", EROFS},   {"ESPIPE", ESPIPE}, {"ESTALE", ESTALE}};

constexpr name_value SIGNAL_NAMES[] = {
    {"KILL", SIGKILL}, {"INT", SIGINT}, {"TERM", SIGTERM}, {"HUP", SIGHUP}};

struct rule {
    char text[MAX_TEXT]; // as given, for the log
    unsigned calls;
    char path[MAX_TEXT]; // empty: any
    long fd;
    long min;
    long at;    // a byte of the file
    long first; // acts on the matching call with this number,
    long step;  // and on every step-th after it; 0: on none after it
    long error;
    long count;
    long size;
    long signal;
    long seen; // matching calls so far
    long bytes;
};

rule g_rules[MAX_RULES];
int g_nrules; // 0 until the constructor has read the variables
char g_log[MAX_TEXT];

// ---- Reading the variables ---------------------------------------------------------------------------

[[noreturn]] void reject(const char *text) {
    std::fprintf(stderr, "interposer: cannot understand \"%s\"\n", text);
    _exit(99);
}

void copy_text(char *to, const char *from) {
    if (strlen(from) >= MAX_TEXT)
        reject(from);
    strcpy(to, from);
}

long parse_number(const char *text) {
    char *end;
    const long value = strtol(text, &end, 10);
    if (end == text || *end != '\0' || value < 0)
        reject(text);
    return value;
}

template <size_t N>
int find_name(const name_value (&names)[N], const char *text) {
    for (const name_value &entry : names)
        if (strcmp(entry.name, text) == 0)
            return entry.value;
    return 0;
}

unsigned parse_calls(char *text) {
    unsigned calls = 0;
    for (char *word = strsep(&text, "|"); word != nullptr; word = strsep(&text, "|")) {
        const int call = find_name(CALL_NAMES, word);
        if (call == 0)
            reject(word);
        calls |= static_cast<unsigned>(call);
    }
    return calls;
}

long parse_error(const char *text) {
    const int error = find_name(ERROR_NAMES, text);
    return error != 0 ? error : parse_number(text);
}

long parse_signal(const char *text) {
    const int signal = find_name(SIGNAL_NAMES, text);
    if (signal == 0)
        reject(text);
    return signal;
}

void parse_nth(rule &r, char *text) {
    char *step = text;
    r.first = parse_number(strsep(&step, "+"));
    r.step = step == nullptr ? 0 : *step == '\0' ? 1 : parse_number(step);
    if (r.first == 0)
        reject(text);
}

void parse_field(rule &r, char *field) {
    char *value = field;
    const char *key = strsep(&value, "=");
    if (value == nullptr)
        reject(key);
    if (strcmp(key, "call") == 0)
        r.calls = parse_calls(value);
    else if (strcmp(key, "path") == 0)
        copy_text(r.path, value);
    else if (strcmp(key, "fd") == 0)
        r.fd = parse_number(value);
    else if (strcmp(key, "min") == 0)
        r.min = parse_number(value);
    else if (strcmp(key, "at") == 0)
        r.at = parse_number(value);
    else if (strcmp(key, "nth") == 0)
        parse_nth(r, value);
    else if (strcmp(key, "errno") == 0)
        r.error = parse_error(value);
    else if (strcmp(key, "count") == 0)
        r.count = parse_number(value);
    else if (strcmp(key, "size") == 0)
        r.size = parse_number(value);
    else if (strcmp(key, "signal") == 0)
        r.signal = parse_signal(value);
    else
        reject(key);
}

void parse_rule(rule &r, char *text) {
    copy_text(r.text, text);
    r.fd = r.min = r.at = r.error = r.count = r.size = r.signal = ABSENT;
    r.first = r.step = 1;
    for (char *field = strsep(&text, ","); field != nullptr; field = strsep(&text, ","))
        parse_field(r, field);
    if (r.calls == 0)
        reject(r.text);
}

// Everything that runs before this constructor is left alone.
[[gnu::constructor]] void read_variables() {
    static char rules[MAX_TEXT];
    const char *given = getenv("VEXLO_IO_RULES");
    if (given == nullptr || *given == '\0')
        return;
    copy_text(rules, given);
    const char *log = getenv("VEXLO_IO_LOG");
    copy_text(g_log, log == nullptr ? "" : log);
    int count = 0;
    char *rest = rules;
    for (char *text = strsep(&rest, ";"); text != nullptr; text = strsep(&rest, ";")) {
        if (count == MAX_RULES)
            reject(text);
        parse_rule(g_rules[count++], text);
    }
    g_nrules = count;
}

// ---- The real functions ------------------------------------------------------------------------------

// The next definition of a function, looked up once. Zero-initialised, so that it works before any
// constructor.
template <class Function>
struct next {
    Function *found;

    Function *operator()(const char *name) {
        if (found == nullptr)
            found = reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
        return found;
    }
};

using transfer_function = ssize_t(int, void *, size_t);
using write_function = ssize_t(int, const void *, size_t);

ssize_t real_read(int fd, void *buffer, size_t n) {
    static next<transfer_function> real;
    return real("read")(fd, buffer, n);
}

ssize_t real_write(int fd, const void *buffer, size_t n) {
    static next<write_function> real;
    return real("write")(fd, buffer, n);
}

ssize_t real_pread(int fd, void *buffer, size_t n, off_t at) {
    static next<ssize_t(int, void *, size_t, off_t)> real;
    return real("pread")(fd, buffer, n, at);
}

ssize_t real_pwrite(int fd, const void *buffer, size_t n, off_t at) {
    static next<ssize_t(int, const void *, size_t, off_t)> real;
    return real("pwrite")(fd, buffer, n, at);
}

int real_close(int fd) {
    static next<int(int)> real;
    return real("close")(fd);
}

int real_openat(int dir, const char *path, int flags, mode_t mode) {
    static next<int(int, const char *, int, ...)> real;
    return real("openat")(dir, path, flags, mode);
}

int real_fstat(int fd, struct stat *status) {
    static next<int(int, struct stat *)> real;
    return real("fstat")(fd, status);
}

FILE *real_fopen(const char *path, const char *mode) {
    static next<FILE *(const char *, const char *)> real;
    return real("fopen")(path, mode);
}

// ---- Applying the rules ------------------------------------------------------------------------------

struct request {
    unsigned call;
    const char *path; // null: the path of fd
    int fd;           // -1: none
    size_t size;      // bytes asked for, 0 where a call has none
    off_t at = -1;    // where in the file, of a positioned call
};

// What the rules have decided about one call. `matched` has a bit for each rule that matched.
struct verdict {
    const rule *acting;
    unsigned matched;

    bool fails() const { return acting != nullptr && acting->error != ABSENT; }
    bool limits() const { return acting != nullptr && acting->count != ABSENT; }
    size_t limited(size_t n) const {
        return limits() && static_cast<size_t>(acting->count) < n ? static_cast<size_t>(acting->count) : n;
    }
};

// Where the descriptor leads; empty when it leads nowhere.
void descriptor_path(int fd, char *path) {
    char link[64];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    const ssize_t n = readlink(link, path, MAX_TEXT - 1);
    path[n < 0 ? 0 : n] = '\0';
}

bool path_matches(const rule &r, const request &req) {
    if (r.path[0] == '\0')
        return true;
    if (req.path != nullptr)
        return strstr(req.path, r.path) != nullptr;
    if (req.fd == -1)
        return false;
    char path[MAX_TEXT];
    descriptor_path(req.fd, path);
    return strstr(path, r.path) != nullptr;
}

bool matches(const rule &r, const request &req) {
    if ((r.calls & req.call) == 0)
        return false;
    if (r.fd != ABSENT && r.fd != req.fd)
        return false;
    if (r.min != ABSENT && req.size < static_cast<size_t>(r.min))
        return false;
    if (r.at != ABSENT && (req.at < 0 || r.at < req.at || static_cast<size_t>(r.at - req.at) >= req.size))
        return false;
    return path_matches(r, req);
}

bool has_action(const rule &r) {
    return r.error != ABSENT || r.count != ABSENT || r.size != ABSENT || r.signal != ABSENT;
}

bool is_turn(const rule &r) {
    if (r.seen < r.first)
        return false;
    return r.seen == r.first || (r.step != 0 && (r.seen - r.first) % r.step == 0);
}

// Counts the call with every rule that matches it and finds the first rule that acts on it. errno stays.
verdict judge(const request &req) {
    const int saved = errno;
    verdict v = {nullptr, 0};
    for (int i = 0; i < g_nrules; ++i) {
        rule &r = g_rules[i];
        if (!matches(r, req))
            continue;
        ++r.seen;
        v.matched |= 1U << i;
        if (v.acting == nullptr && has_action(r) && is_turn(r))
            v.acting = &r;
    }
    if (v.acting != nullptr && v.acting->signal != ABSENT)
        raise(static_cast<int>(v.acting->signal));
    errno = saved;
    return v;
}

int refuse(const verdict &v) {
    errno = static_cast<int>(v.acting->error);
    return -1;
}

void add_bytes(const verdict &v, ssize_t n) {
    for (int i = 0; n > 0 && i < g_nrules; ++i)
        if ((v.matched & 1U << i) != 0)
            g_rules[i].bytes += n;
}

// A read or write of n bytes; `real` makes the call for the number of bytes it is given.
template <class Real>
ssize_t transfer(unsigned call, int fd, size_t n, off_t at, Real real) {
    const verdict v = judge({call, nullptr, fd, n, at});
    if (v.fails())
        return refuse(v);
    if (v.limits() && v.acting->count == 0)
        return 0;
    const ssize_t done = real(v.limited(n));
    add_bytes(v, done);
    return done;
}

ssize_t judged_read(int fd, void *buffer, size_t n) {
    return transfer(CALL_READ, fd, n, -1, [=](size_t limit) { return real_read(fd, buffer, limit); });
}

ssize_t judged_write(int fd, const void *buffer, size_t n) {
    return transfer(CALL_WRITE, fd, n, -1, [=](size_t limit) { return real_write(fd, buffer, limit); });
}

ssize_t judged_pread(int fd, void *buffer, size_t n, off_t at) {
    return transfer(CALL_PREAD, fd, n, at, [=](size_t limit) { return real_pread(fd, buffer, limit, at); });
}

ssize_t judged_pwrite(int fd, const void *buffer, size_t n, off_t at) {
    return transfer(CALL_PWRITE, fd, n, at, [=](size_t limit) { return real_pwrite(fd, buffer, limit, at); });
}

int judged_close(int fd) {
    const verdict v = judge({CALL_CLOSE, nullptr, fd, 0});
    const int result = real_close(fd);
    return v.fails() ? refuse(v) : result;
}

int judged_openat(int dir, const char *path, int flags, mode_t mode) {
    const verdict v = judge({CALL_OPEN, path, -1, 0});
    return v.fails() ? refuse(v) : real_openat(dir, path, flags, mode);
}

int judged_fstat(int fd, struct stat *status) {
    const verdict v = judge({CALL_FSTAT, nullptr, fd, 0});
    if (v.fails())
        return refuse(v);
    const int result = real_fstat(fd, status);
    if (result == 0 && v.acting != nullptr && v.acting->size != ABSENT)
        status->st_size = v.acting->size;
    return result;
}

// struct stat64 has the layout of struct stat on a 64-bit system.
int judged_fstat64(int fd, struct stat64 *status) {
    static_assert(sizeof(struct stat) == sizeof(struct stat64));
    return judged_fstat(fd, reinterpret_cast<struct stat *>(status));
}

template <class Real>
void *judged_allocation(size_t n, Real real) {
    const verdict v = judge({CALL_MALLOC, nullptr, -1, n});
    if (v.fails()) {
        refuse(v);
        return nullptr;
    }
    add_bytes(v, static_cast<ssize_t>(n));
    return real();
}

// ---- Streams -----------------------------------------------------------------------------------------

int cookie_fd(void *cookie) {
    return static_cast<int>(reinterpret_cast<intptr_t>(cookie));
}

ssize_t cookie_read(void *cookie, char *buffer, size_t n) {
    return judged_read(cookie_fd(cookie), buffer, n);
}

// A stream takes 0, not -1, as the mark of a failed write.
ssize_t cookie_write(void *cookie, const char *buffer, size_t n) {
    const ssize_t done = judged_write(cookie_fd(cookie), buffer, n);
    return done < 0 ? 0 : done;
}

int cookie_close(void *cookie) {
    return judged_close(cookie_fd(cookie));
}

bool wants_stream(const char *path, const char *mode) {
    if (strcmp(mode, "r") != 0 && strcmp(mode, "w") != 0)
        return false;
    for (int i = 0; i < g_nrules; ++i)
        if ((g_rules[i].calls & STREAM_CALLS) != 0 && g_rules[i].path[0] != '\0' &&
            strstr(path, g_rules[i].path) != nullptr)
            return true;
    return false;
}

FILE *open_cookie(const char *path, const char *mode) {
    const int flags = mode[0] == 'r' ? O_RDONLY : O_WRONLY | O_CREAT | O_TRUNC;
    const int fd = real_openat(AT_FDCWD, path, flags, 0666);
    if (fd == -1)
        return nullptr;
    const cookie_io_functions_t functions = {cookie_read, cookie_write, nullptr, cookie_close};
    return fopencookie(reinterpret_cast<void *>(static_cast<intptr_t>(fd)), mode, functions);
}

FILE *judged_fopen(const char *path, const char *mode) {
    const verdict v = judge({CALL_OPEN, path, -1, 0});
    if (v.fails()) {
        refuse(v);
        return nullptr;
    }
    return wants_stream(path, mode) ? open_cookie(path, mode) : real_fopen(path, mode);
}

// ---- The log -----------------------------------------------------------------------------------------

// Written with the real functions, so that the log itself is not counted.
[[gnu::destructor]] void write_log() {
    if (g_log[0] == '\0')
        return;
    const int fd = real_openat(AT_FDCWD, g_log, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    for (int i = 0; i < g_nrules; ++i) {
        static char line[MAX_TEXT + 100];
        const rule &r = g_rules[i];
        const int n = std::snprintf(line, sizeof line, "%s calls=%ld bytes=%ld\n", r.text, r.seen, r.bytes);
        real_write(fd, line, static_cast<size_t>(n));
    }
    real_close(fd);
}

// The mode that follows the flags of an open when it may create a file.
mode_t mode_argument(int flags, va_list args) {
    const bool creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    return creates ? va_arg(args, mode_t) : 0;
}

} // namespace

// ---- The functions that take the place of the C library's --------------------------------------------

extern "C" {

#pragma GCC visibility push(default)

int open(const char *path, int flags, ...) {
    va_list args;
    va_start(args, flags);
    const mode_t mode = mode_argument(flags, args);
    va_end(args);
    return judged_openat(AT_FDCWD, path, flags, mode);
}

int openat(int dir, const char *path, int flags, ...) {
    va_list args;
    va_start(args, flags);
    const mode_t mode = mode_argument(flags, args);
    va_end(args);
    return judged_openat(dir, path, flags, mode);
}

int creat(const char *path, mode_t mode) {
    return judged_openat(AT_FDCWD, path, O_WRONLY | O_CREAT | O_TRUNC, mode);
}

int __open_2(const char *path, int flags) {
    return judged_openat(AT_FDCWD, path, flags, 0);
}

int __openat_2(int dir, const char *path, int flags) {
    return judged_openat(dir, path, flags, 0);
}

FILE *fopen(const char *path, const char *mode) {
    return judged_fopen(path, mode);
}

ssize_t read(int fd, void *buffer, size_t n) {
    return judged_read(fd, buffer, n);
}

// The fortified forms take the size of the buffer as well; a request beyond it is a fault of the program.
static void check_size(size_t n, size_t size) {
    if (n > size)
        abort();
}

ssize_t __read_chk(int fd, void *buffer, size_t n, size_t size) {
    check_size(n, size);
    return judged_read(fd, buffer, n);
}

ssize_t write(int fd, const void *buffer, size_t n) {
    return judged_write(fd, buffer, n);
}

ssize_t pread(int fd, void *buffer, size_t n, off_t at) {
    return judged_pread(fd, buffer, n, at);
}

ssize_t __pread_chk(int fd, void *buffer, size_t n, off_t at, size_t size) {
    check_size(n, size);
    return judged_pread(fd, buffer, n, at);
}

ssize_t pwrite(int fd, const void *buffer, size_t n, off_t at) {
    return judged_pwrite(fd, buffer, n, at);
}

int fstat(int fd, struct stat *status) {
    return judged_fstat(fd, status);
}

int fstat64(int fd, struct stat64 *status) {
    return judged_fstat64(fd, status);
}

int __fxstat(int, int fd, struct stat *status) {
    return judged_fstat(fd, status);
}

int __fxstat64(int, int fd, struct stat64 *status) {
    return judged_fstat64(fd, status);
}

int close(int fd) {
    return judged_close(fd);
}

void *malloc(size_t n) {
    static next<void *(size_t)> real;
    return judged_allocation(n, [=] { return real("malloc")(n); });
}

void *calloc(size_t count, size_t size) {
    static next<void *(size_t, size_t)> real;
    return judged_allocation(count * size, [=] { return real("calloc")(count, size); });
}

void *realloc(void *old, size_t n) {
    static next<void *(void *, size_t)> real;
    return judged_allocation(n, [=] { return real("realloc")(old, n); });
}

// The names for 64-bit file offsets mean the same on a 64-bit system.
int open64(const char *path, int flags, ...) __attribute__((alias("open")));
int openat64(int dir, const char *path, int flags, ...) __attribute__((alias("openat")));
int creat64(const char *path, mode_t mode) __attribute__((alias("creat")));
int __open64_2(const char *path, int flags) __attribute__((alias("__open_2")));
int __openat64_2(int dir, const char *path, int flags) __attribute__((alias("__openat_2")));
FILE *fopen64(const char *path, const char *mode) __attribute__((alias("fopen")));
ssize_t pread64(int fd, void *buffer, size_t n, off64_t at) __attribute__((alias("pread")));
ssize_t __pread64_chk(int fd, void *buffer, size_t n, off64_t at, size_t size)
    __attribute__((alias("__pread_chk")));
ssize_t pwrite64(int fd, const void *buffer, size_t n, off64_t at) __attribute__((alias("pwrite")));

#pragma GCC visibility pop
}
