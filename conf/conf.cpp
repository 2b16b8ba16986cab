#include "conf/conf.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>
#include <string_view>
#include <vector>

#include "device/device.h"
#include "render/aux.h"

// How the store meets a request.
//
// A request is one short process. The first read of a file takes it whole
// (under a shared lock) and every later conf_get of that file is answered from
// that copy through an index of its keys. Changes are made to the copy at once,
// checked as the file would check them (a missing or unwritable file is
// reported at the call), and written back in place, once per file, before the
// request runs a command and when it ends: under the exclusive lock, as one
// write, with the file truncated behind it when it shrank. If another request
// changed the file meanwhile, this request's changes are made again, in their
// order, to what the file holds now, so neither loses the other's keys. After a
// command every file is read afresh, since the command may have changed it.
//
// Lines are read in pieces of 255 characters. A piece that continues a longer
// line is never taken for a setting of its own, and a setting that is
// rewritten or deleted takes its whole line with it, so that no value can
// leave a line behind that starts with a key of its own.
namespace {

constexpr size_t NAME_SIZE = 64;         // keys and paths
constexpr size_t PIECE = 255;            // lines are read in pieces of 255 characters
constexpr size_t FILE_LIMIT = 8u << 20;  // a settings file is a few KiB: larger ones are refused

// ---- the text of a value in a line ------------------------------------------

// The value as a line carries it between its quotes: line breaks are dropped,
// an apostrophe is written as '\'' so that a shell reading the file gets it
// back, and the value is cut (never within a character or an escape) so that
// the whole line, key, quotes and newline included, fits in one piece.
std::string line_value(const char* key, const char* value)
{
    std::string out;
    if (!value)
        return out;
    const size_t room = PIECE - strlen(key) - 4;  // KEY='...'\n
    const char* p = value;
    for (; *p; ++p) {
        if (*p == '\n' || *p == '\r')
            continue;
        size_t need = *p == '\'' ? 4 : 1;
        if (out.size() + need > room)
            break;
        if (*p == '\'')
            out += "'\\''";
        else
            out += *p;
    }
    if (*p) {
        // cut: never in the middle of a UTF-8 character
        while (!out.empty() && (static_cast<unsigned char>(out.back()) & 0xC0) == 0x80)
            out.pop_back();
        if (!out.empty() && (static_cast<unsigned char>(out.back()) & 0xC0) == 0xC0)
            out.pop_back();
        dev_syslog(LOG_WARNING, "conf: the value of %s is cut to %zu characters to fit its line", key, out.size());
    }
    return out;
}

void append_line(std::string& text, const char* key, const char* value)
{
    text += key;
    text += "='";
    text += line_value(key, value);
    text += "'\n";
}

// The value of a line from just behind its "=": the first run of characters
// without a quote (leading quotes skipped), or, for a value that holds
// apostrophes ('a'\''b', as this store writes it), the value they spell.
// An empty result when the run starts with a newline or there is none.
void line_text(const char* p, const char* end, std::string& out)
{
    out.clear();
    // 'seg'\''seg'... up to the end of the piece: one or more joins.
    if (p < end && *p == '\'') {
        const char* q = p + 1;
        std::string joined;
        int joins = 0;
        for (;;) {
            const char* close = static_cast<const char*>(memchr(q, '\'', size_t(end - q)));
            if (!close)
                break;
            joined.append(q, close);
            if (end - close >= 4 && memcmp(close, "'\\''", 4) == 0) {
                joined += '\'';
                ++joins;
                q = close + 4;
                continue;
            }
            if (joins > 0 && (close + 1 == end || close[1] == '\n')) {
                out.swap(joined);
                return;
            }
            break;
        }
    }
    while (p < end && *p == '\'')
        ++p;
    if (p == end || *p == '\n')
        return;
    const char* close = static_cast<const char*>(memchr(p, '\'', size_t(end - p)));
    out.assign(p, close ? close : end);
}

// ---- one file as this request sees it ---------------------------------------

// One change, kept so that it can be made again to a file that another
// request changed since it was read.
struct Change {
    enum Kind { SET, DELETE, ADD } kind;
    std::vector<std::string> keys;  // one, or the keys of a list's entries (DELETE)
    std::string value;              // SET and ADD
};

// A line's first piece: where it starts, how long it is (newline included when
// it falls inside), and the key as a reader takes it (leading "=" skipped, up
// to the next "=", the end of the piece or a zero byte).
struct Piece {
    uint32_t start, length;
    uint32_t key_start, key_length;
    bool has_key;
};

struct Slot {
    uint64_t hash;
    uint32_t piece;  // index + 1; 0: empty
};

uint64_t hash_step(uint64_t h, unsigned char c) { return (h ^ c) * 1099511628211ull; }
constexpr uint64_t HASH_START = 14695981039346656037ull;

struct File {
    std::string host;  // the file the program opens
    enum State { UNREAD, PRESENT, MISSING } state = UNREAD;
    int error = 0;             // why it could not be read
    std::string text;          // as this request sees it
    std::string base;          // as read
    std::vector<Change> changes;
    int fd = -1;               // open for writing once the request changes the file

    // the index of the keys, built when first needed after a change
    bool indexed = false;
    std::vector<Piece> pieces;
    std::vector<Slot> slots;
    uint64_t lengths[4] = {0, 0, 0, 0};  // the key lengths that occur (1 to 255)

    void changed()
    {
        indexed = false;
    }
    void index();
    const Piece* find(const char* key) const;
};

std::vector<File*> g_files;
bool g_exit_hook = false;

void each_line(const std::string& text, size_t from, size_t& line_end)
{
    const char* nl = static_cast<const char*>(memchr(text.data() + from, '\n', text.size() - from));
    line_end = nl ? size_t(nl - text.data()) + 1 : text.size();
}

void File::index()
{
    pieces.clear();
    memset(lengths, 0, sizeof lengths);
    for (size_t at = 0, end; at < text.size(); at = end) {
        each_line(text, at, end);
        Piece p{};
        p.start = uint32_t(at);
        p.length = uint32_t(end - at < PIECE ? end - at : PIECE);
        const char* s = text.data() + at;
        const char* stop = static_cast<const char*>(memchr(s, '\0', p.length));
        size_t usable = stop ? size_t(stop - s) : p.length;
        size_t k = 0;
        while (k < usable && s[k] == '=')
            ++k;
        if (k < usable) {
            const char* eq = static_cast<const char*>(memchr(s + k, '=', usable - k));
            p.key_start = uint32_t(k);
            p.key_length = uint32_t(eq ? size_t(eq - (s + k)) : usable - k);
            p.has_key = true;
            lengths[p.key_length / 64] |= uint64_t(1) << (p.key_length % 64);
        }
        pieces.push_back(p);
    }
    size_t size = 16;
    while (size < pieces.size() * 2)
        size *= 2;
    slots.assign(size, Slot{0, 0});
    for (size_t i = 0; i < pieces.size(); ++i) {
        const Piece& p = pieces[i];
        if (!p.has_key)
            continue;
        const char* key = text.data() + p.start + p.key_start;
        uint64_t h = HASH_START;
        for (size_t j = 0; j < p.key_length; ++j)
            h = hash_step(h, static_cast<unsigned char>(key[j]));
        for (size_t s = h & (size - 1);; s = (s + 1) & (size - 1)) {
            Slot& slot = slots[s];
            if (slot.piece == 0) {
                slot = Slot{h, uint32_t(i + 1)};
                break;
            }
            const Piece& q = pieces[slot.piece - 1];
            if (slot.hash == h && q.key_length == p.key_length &&
                memcmp(text.data() + q.start + q.key_start, key, p.key_length) == 0)
                break;  // the first line of that key answers
        }
    }
    indexed = true;
}

// The first line whose key is a prefix of key: every length of key that some
// line's key has is looked up, and the earliest line wins.
const Piece* File::find(const char* key) const
{
    const Piece* best = nullptr;
    const size_t mask = slots.size() - 1;
    uint64_t h = HASH_START;
    for (size_t len = 1; key[len - 1] != '\0' && len < 256; ++len) {
        h = hash_step(h, static_cast<unsigned char>(key[len - 1]));
        if (!(lengths[len / 64] & (uint64_t(1) << (len % 64))))
            continue;
        for (size_t s = h & mask; slots[s].piece != 0; s = (s + 1) & mask) {
            const Piece& p = pieces[slots[s].piece - 1];
            if (slots[s].hash == h && p.key_length == len && memcmp(text.data() + p.start + p.key_start, key, len) == 0) {
                if (!best || p.start < best->start)
                    best = &p;
                break;
            }
        }
    }
    return best;
}

// ---- reading and writing the file itself ------------------------------------

void lock(int fd, int operation)
{
    while (flock(fd, operation) != 0 && errno == EINTR) {
    }
}

// The whole content of fd from its start; false (errno set) when it cannot be
// read or is larger than any settings file.
bool read_all(int fd, std::string& out)
{
    out.clear();
    struct stat st;
    if (fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && size_t(st.st_size) <= FILE_LIMIT)
        out.reserve(size_t(st.st_size));
    char block[8192];
    for (off_t at = 0;;) {
        ssize_t n = pread(fd, block, sizeof block, at);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return false;
        if (n == 0)
            return true;
        if (out.size() + size_t(n) > FILE_LIMIT) {
            errno = EFBIG;
            return false;
        }
        out.append(block, size_t(n));
        at += n;
    }
}

File& file_for(const char* name)
{
    char path[NAME_SIZE];
    snprintf(path, sizeof path, "%s/%s", CONF_DIR, name);  // the doubled slash is harmless
    std::string host = dev_path(path);
    for (File* f : g_files)
        if (f->host == host)
            return *f;
    g_files.push_back(new File);
    g_files.back()->host = host;
    return *g_files.back();
}

// Reads the file once; false (with f.error) when it cannot be read.
bool load(File& f)
{
    if (f.state != File::UNREAD)
        return f.state == File::PRESENT;
    int fd = open(f.host.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        f.state = File::MISSING;
        f.error = errno;
        return false;
    }
    lock(fd, LOCK_SH);
    bool ok = read_all(fd, f.text);
    int err = errno;
    close(fd);
    if (!ok && err == EFBIG) {
        f.state = File::MISSING;
        f.error = err;
        return false;
    }
    if (!ok)
        f.text.clear();  // opened but not readable (a folder): nothing in it
    f.state = File::PRESENT;
    f.base = f.text;
    f.changed();
    return true;
}

// Makes sure the file can take a change: open for writing (created when
// create is set, as conf_add does) and read. Failures are reported at the
// call's locations; false then.
bool writable(File& f, bool create, const char* add_location)
{
    if (f.fd >= 0)
        return true;
    if (!create && f.state == File::MISSING) {
        aux_error("in file conf line 111", f.error);
        return false;
    }
    int fd = open(f.host.c_str(), O_RDWR | O_CLOEXEC | (create ? O_CREAT : 0), 0666);
    if (fd < 0) {
        int err = errno;
        if (create) {
            aux_error(add_location, err);
        } else if (err == ENOENT || !load(f)) {
            aux_error("in file conf line 111", err == ENOENT ? err : f.error);
        } else {
            aux_error("in file conf line 151", err);  // there, but not to be written
        }
        return false;
    }
    if (f.state != File::PRESENT) {
        lock(fd, LOCK_SH);
        bool ok = read_all(fd, f.text);
        int err = errno;
        lock(fd, LOCK_UN);
        if (!ok) {
            close(fd);
            aux_error(create ? add_location : "in file conf line 111", err);
            f.state = File::MISSING;
            f.error = err;
            return false;
        }
        f.state = File::PRESENT;
        f.base = f.text;
        f.changed();
    }
    f.fd = fd;
    return true;
}

// ---- changes ----------------------------------------------------------------

// Whether a piece is a setting that one of the keys begins: at least 2
// characters, not a comment, its text up to the first "=" at least as long as
// the key and starting with it. A list's keys are looked up by length.
class KeyMatcher {
public:
    explicit KeyMatcher(const std::vector<std::string>& keys)
    {
        for (const std::string& k : keys)
            sorted_.emplace_back(k);
        std::sort(sorted_.begin(), sorted_.end());
        for (const std::string_view& k : sorted_)
            if (std::find(lengths_.begin(), lengths_.end(), k.size()) == lengths_.end())
                lengths_.push_back(k.size());
    }
    bool matches(const char* s, size_t length) const
    {
        size_t usable = strnlen(s, length);
        if (usable < 2 || s[0] == '#')
            return false;
        const char* eq = static_cast<const char*>(memchr(s, '=', usable));
        size_t key_part = eq ? size_t(eq - s) : usable;
        for (size_t len : lengths_)
            if (len <= key_part && std::binary_search(sorted_.begin(), sorted_.end(), std::string_view(s, len)))
                return true;
        return false;
    }

private:
    std::vector<std::string_view> sorted_;
    std::vector<size_t> lengths_;
};

// Copies a line as the store rewrites it: piece by piece, each up to a zero
// byte it may hold.
void copy_line(std::string& out, const char* s, size_t length)
{
    while (length > 0) {
        size_t piece = length < PIECE ? length : PIECE;
        out.append(s, strnlen(s, piece));
        s += piece;
        length -= piece;
    }
}

// The text with change made to it.
void apply(std::string& text, const Change& change)
{
    if (change.kind == Change::ADD) {
        append_line(text, change.keys[0].c_str(), change.value.c_str());
        return;
    }
    const KeyMatcher matcher(change.keys);
    std::string out;
    out.reserve(text.size() + PIECE);
    for (size_t at = 0, end; at < text.size(); at = end) {
        each_line(text, at, end);
        const char* s = text.data() + at;
        size_t first = end - at < PIECE ? end - at : PIECE;
        if (matcher.matches(s, first)) {
            if (change.kind == Change::SET)
                append_line(out, change.keys[0].c_str(), change.value.c_str());
            continue;  // the whole line goes, continuation included
        }
        copy_line(out, s, end - at);
    }
    text.swap(out);
}

void record(File& f, Change&& change)
{
    apply(f.text, change);
    f.changes.push_back(std::move(change));
    f.changed();
    if (!g_exit_hook) {
        g_exit_hook = true;
        atexit(conf_flush);
    }
}

bool write_all(int fd, const std::string& text)
{
    for (size_t at = 0; at < text.size();) {
        ssize_t n = pwrite(fd, text.data() + at, text.size() - at, off_t(at));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        at += size_t(n);
    }
    return true;
}

// Writes the request's changes of one file back, in place.
void flush(File& f)
{
    if (f.changes.empty())
        return;
    lock(f.fd, LOCK_EX);
    std::string now;
    bool ok = read_all(f.fd, now);
    if (ok && now != f.base) {  // another request changed it: the changes again, on top
        f.text = now;
        for (const Change& c : f.changes)
            apply(f.text, c);
    }
    ok = ok && write_all(f.fd, f.text) && (f.text.size() >= now.size() || ftruncate(f.fd, off_t(f.text.size())) == 0);
    int err = errno;
    lock(f.fd, LOCK_UN);
    if (!ok)
        aux_error("in file conf line 151", err);
    f.base = f.text;
    f.changes.clear();
    f.changed();
}

void copy_cut(char* out, size_t size, const std::string& text)
{
    size_t len = text.size() < size - 1 ? text.size() : size - 1;
    memcpy(out, text.data(), len);
    out[len] = '\0';
}

void cut_key(char (&key)[NAME_SIZE], const char* wanted) { snprintf(key, sizeof key, "%s", wanted); }

// The value of the first line answering key, if any.
bool lookup(File& f, const char* key, std::string& value)
{
    if (!f.indexed)
        f.index();
    const Piece* p = f.find(key);
    if (!p)
        return false;
    const char* s = f.text.data() + p->start;
    const char* end = s + strnlen(s, p->length);
    const char* after = s + p->key_start + p->key_length;
    if (after < end)
        ++after;  // past the "="
    line_text(after, end, value);
    return true;
}

void command_starts()
{
    conf_flush();
    conf_forget();
}

}  // namespace

void conf_flush()
{
    for (File* f : g_files)
        if (f->fd >= 0)
            flush(*f);
}

void conf_forget()
{
    conf_flush();
    for (File* f : g_files) {
        if (f->fd >= 0)
            close(f->fd);
        delete f;
    }
    g_files.clear();
}

char* conf_get(const char* wanted, char* out, size_t size, const char* file)
{
    if (!out || size == 0)
        return out;
    out[0] = '\0';
    if (!wanted || !file) {
        aux_error("in file conf line 24", EINVAL);
        return out;
    }
    dev_before_command(command_starts);
    File& f = file_for(file);
    if (!load(f)) {
        aux_error("in file conf line 36", f.error);
        return out;
    }
    char key[NAME_SIZE];
    cut_key(key, wanted);
    std::string value;
    if (lookup(f, key, value))
        copy_cut(out, size, value);
    return out;
}

bool conf_find(const char* wanted, std::string& value, const char* file)
{
    value.clear();
    if (!wanted || !file)
        return false;
    dev_before_command(command_starts);
    File& f = file_for(file);
    if (!load(f))
        return false;
    char key[NAME_SIZE];
    cut_key(key, wanted);
    return lookup(f, key, value);
}

std::string conf_value(const char* key, const char* file, size_t max)
{
    char value[CONF_VALUE_SIZE];
    conf_get(key, value, max + 1 < sizeof value ? max + 1 : sizeof value, file);
    return value;
}

int conf_add(const char* wanted, const char* value, const char* file)
{
    char key[NAME_SIZE];
    cut_key(key, wanted ? wanted : "");
    dev_before_command(command_starts);
    File& f = file_for(file ? file : "");
    if (!writable(f, true, "in file conf line 80"))
        return -1;
    record(f, Change{Change::ADD, {key}, value ? value : ""});
    return 0;
}

int conf_set(const char* wanted, const char* value, const char* file)
{
    if (!wanted || !file) {
        aux_error("in file conf line 96", EINVAL);
        return -1;
    }
    char key[NAME_SIZE];
    cut_key(key, wanted);
    dev_before_command(command_starts);
    File& f = file_for(file);
    if (!writable(f, false, nullptr))
        return -1;
    record(f, Change{value ? Change::SET : Change::DELETE, {key}, value ? value : ""});
    return 0;
}

int conf_delete(const char* key, const char* file) { return conf_set(key, nullptr, file); }

int conf_delete_all(const std::vector<std::string>& keys, const char* file)
{
    if (keys.empty())
        return 0;
    if (!file) {
        for (size_t i = 0; i < keys.size(); ++i)
            aux_error("in file conf line 96", EINVAL);
        return -1;
    }
    dev_before_command(command_starts);
    File& f = file_for(file);
    // each key as its own delete would report: the file's state is the same for all
    if (!writable(f, false, nullptr)) {
        for (size_t i = 1; i < keys.size(); ++i)
            writable(f, false, nullptr);
        return -1;
    }
    Change change{Change::DELETE, {}, ""};
    for (const std::string& k : keys) {
        char key[NAME_SIZE];
        cut_key(key, k.c_str());
        change.keys.push_back(key);
    }
    record(f, std::move(change));
    return 0;
}
