#include "conf/conf.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
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
void append_line(std::string& text, const char* key, const char* value)
{
    const size_t key_len = strlen(key);
    const size_t room = PIECE - key_len - 4;  // KEY='...'\n
    const size_t plain = value ? strcspn(value, "'\n\r") : 0;
    if (key_len < NAME_SIZE && (!value || (value[plain] == '\0' && plain <= room))) {
        // the usual line, put together on the stack and appended at once
        char line[NAME_SIZE + PIECE + 4];
        memcpy(line, key, key_len);
        memcpy(line + key_len, "='", 2);
        if (plain > 0)
            memcpy(line + key_len + 2, value, plain);
        memcpy(line + key_len + 2 + plain, "'\n", 2);
        text.append(line, key_len + plain + 4);
        return;
    }
    text.append(key, key_len);
    text += "='";
    if (value) {
        if (value[plain] == '\0' && plain <= room) {
            text.append(value, plain);
        } else {
            const size_t start = text.size();
            const char* p = value;
            for (; *p; ++p) {
                if (*p == '\n' || *p == '\r')
                    continue;
                size_t need = *p == '\'' ? 4 : 1;
                if (text.size() - start + need > room)
                    break;
                if (*p == '\'')
                    text += "'\\''";
                else
                    text += *p;
            }
            if (*p) {
                // cut, never in the middle of a UTF-8 character
                if ((static_cast<unsigned char>(*p) & 0xC0) == 0x80) {
                    while (text.size() > start && (static_cast<unsigned char>(text.back()) & 0xC0) == 0x80)
                        text.pop_back();
                    if (text.size() > start && (static_cast<unsigned char>(text.back()) & 0xC0) == 0xC0)
                        text.pop_back();
                }
                dev_syslog(LOG_WARNING, "conf: the value of %s is cut to %zu bytes to fit its line", key,
                           text.size() - start);
            }
        }
    }
    text += "'\n";
}

// The value of a line from just behind its "=": the first run of characters
// without a quote (leading quotes skipped), or, for a value that holds
// apostrophes ('a'\''b', as this store writes it), the value they spell
// (then put together in joined). Empty when the run starts with a newline or
// there is none.
struct Text {
    const char* data;
    size_t size;
};
Text line_text(const char* p, const char* end, std::string& joined)
{
    // 'seg'\''seg'... up to the end of the piece: one or more joins.
    if (p < end && *p == '\'') {
        const char* q = p + 1;
        joined.clear();
        int joins = 0;
        for (;;) {
            const char* close = static_cast<const char*>(memchr(q, '\'', size_t(end - q)));
            if (!close)
                break;
            if (end - close >= 4 && memcmp(close, "'\\''", 4) == 0) {
                joined.append(q, close);
                joined += '\'';
                ++joins;
                q = close + 4;
                continue;
            }
            if (joins > 0 && (close + 1 == end || close[1] == '\n')) {
                joined.append(q, close);
                return Text{joined.data(), joined.size()};
            }
            break;
        }
    }
    while (p < end && *p == '\'')
        ++p;
    if (p == end || *p == '\n')
        return Text{p, 0};
    const char* close = static_cast<const char*>(memchr(p, '\'', size_t(end - p)));
    return Text{p, size_t((close ? close : end) - p)};
}

// ---- one file as this request sees it ---------------------------------------

// One change, kept so that it can be made again to a file that another
// request changed since it was read.
struct Change {
    enum Kind { SET, DELETE, ADD, DELETE_ENTRIES } kind;
    explicit Change(Kind k) : kind(k) {}  // its texts start empty, without copying an empty text
    std::vector<std::string> keys;  // SET: the key; DELETE: the keys
    std::string lines;              // SET: the line it writes; ADD: the lines it appends
    // DELETE_ENTRIES: the keys <name>_<i>_<field>, i from first to count
    std::string name, field;
    int count = 0;
    int first = 1;
};

// A line's first piece: where it starts, how long it is (newline included when
// it falls inside), and the key as a reader takes it (leading "=" skipped, up
// to the next "=", the end of the piece or a zero byte).
struct Piece {
    uint32_t start, length;
    uint32_t key_start, key_length;
    bool has_key;
    uint32_t reach;  // the key's length; none: beyond any key asked for
    uint64_t head;   // the key's first 8 bytes (zeros after a shorter key): most keys differ there
    uint64_t mask;   // of the bytes the head holds
    uint64_t tail;   // of a key longer than 8 bytes, its last 8: keys of one file often begin alike
};

// The first min(len, 8) bytes of text as a number, zeros after them.
uint64_t head_of(const char* text, size_t len)
{
    uint64_t head = 0;
    if (len >= 8)
        memcpy(&head, text, 8);
    else
        for (size_t i = 0; i < len; ++i)
            head |= uint64_t(static_cast<unsigned char>(text[i])) << (8 * i);
    return head;
}

// The 8 bytes of a key of at least 8 characters that end it.
uint64_t tail_of(const char* key, size_t len)
{
    uint64_t tail;
    memcpy(&tail, key + len - 8, 8);
    return tail;
}

struct Slot {
    uint64_t hash;
    uint32_t piece;  // index + 1; 0: empty
};

uint64_t hash_step(uint64_t h, unsigned char c) { return (h ^ c) * 1099511628211ull; }
constexpr uint64_t HASH_START = 14695981039346656037ull;

struct File {
    std::string name;  // as the caller names it
    std::string host;  // the file the program opens
    enum State { UNREAD, PRESENT, MISSING } state = UNREAD;
    int error = 0;             // why it could not be read
    std::string text;          // as this request sees it
    std::string base;          // as read, once the request is to change the file
    std::vector<Change> changes;
    size_t applied = 0;        // changes[0, applied) are in text
    int fd = -1;               // open for writing once the request changes the file

    // the lines' keys, found when first needed after a change; a table of
    // them once the file is large and asked often
    bool indexed = false;
    bool hashed = false;
    unsigned finds = 0;
    std::vector<Piece> pieces;
    std::vector<Slot> slots;
    std::vector<uint32_t> lengths;  // the key lengths that occur, ascending

    void changed()
    {
        indexed = false;
        hashed = false;
        finds = 0;
    }
    void index();
    void hash();
    const Piece* find(const char* key);
};

std::vector<std::unique_ptr<File>> g_files;
bool g_exit_hook = false;

void each_line(const std::string& text, size_t from, size_t& line_end)
{
    const char* nl = static_cast<const char*>(memchr(text.data() + from, '\n', text.size() - from));
    line_end = nl ? size_t(nl - text.data()) + 1 : text.size();
}

void File::index()
{
    pieces.clear();
    pieces.reserve(text.size() / 24 + 1);
    uint64_t seen[4] = {0, 0, 0, 0};  // the key lengths that occur (1 to 255)
    const bool zeros = memchr(text.data(), '\0', text.size()) != nullptr;
    const char* const base = text.data();
    const char* const stop = base + text.size();
    for (const char* s = base; s < stop;) {
        Piece p{};
        p.reach = UINT32_MAX;
        p.start = uint32_t(s - base);
        const char* limit = stop - s < long(PIECE) ? stop : s + PIECE;
        if (zeros) {
            const char* zero = static_cast<const char*>(memchr(s, '\0', size_t(limit - s)));
            const char* nl = static_cast<const char*>(memchr(s, '\n', size_t(limit - s)));
            if (zero && (!nl || zero < nl))
                limit = zero;
        }
        // the key: "=" skipped at the start, then up to the next "=" or the end of the piece (a
        // line without "=" keeps its newline in its key)
        const char* k = s;
        while (k < limit && *k == '=')
            ++k;
        const char* nl_in = static_cast<const char*>(memchr(k, '\n', size_t(limit - k)));
        const char* key_limit = nl_in ? nl_in : limit;
        const char* eq = static_cast<const char*>(memchr(k, '=', size_t(key_limit - k)));
        const char* e = eq ? eq : key_limit;
        bool line_ended = !eq && nl_in;
        if (line_ended)
            ++e;
        if (k < limit) {
            p.key_start = uint32_t(k - s);
            p.key_length = uint32_t(e - k);
            p.has_key = true;
            p.reach = p.key_length;
            p.head = head_of(k, p.key_length);
            p.mask = p.key_length >= 8 ? ~uint64_t(0) : (uint64_t(1) << (8 * p.key_length)) - 1;
            if (p.key_length > 8)
                p.tail = tail_of(k, p.key_length);
            seen[p.key_length / 64] |= uint64_t(1) << (p.key_length % 64);
        }
        // the newline after the key, if found in the piece, is the line's
        const char* nl =
            line_ended ? e - 1 : nl_in ? nl_in : static_cast<const char*>(memchr(e, '\n', size_t(stop - e)));
        const char* end = nl ? nl + 1 : stop;
        p.length = uint32_t(end - s < long(PIECE) ? end - s : long(PIECE));
        pieces.push_back(p);
        s = end;
    }
    lengths.clear();
    lengths.reserve(64);
    for (uint32_t word = 0; word < 4; ++word)
        for (uint64_t bits = seen[word]; bits; bits &= bits - 1)
            lengths.push_back(word * 64 + uint32_t(__builtin_ctzll(bits)));
    indexed = true;
}

void File::hash()
{
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
    hashed = true;
}

// The first line whose key is a prefix of key: every length of key that some
// line's key has is looked up, and the earliest line wins.
const Piece* File::find(const char* key)
{
    const size_t wanted = strlen(key);
    // a small file, or few questions: line by line, the first answer is the one
    if (!hashed && (pieces.size() <= 32 || ++finds < 24)) {
        const uint64_t whole = head_of(key, wanted);
        for (const Piece& p : pieces) {
            // the key's first bytes against as many of the wanted key's, then its last ones
            if (p.reach > wanted || (whole & p.mask) != p.head)
                continue;
            if (p.key_length <= 8)
                return &p;
            if (tail_of(key, p.key_length) != p.tail)
                continue;
            if (p.key_length <= 16 || memcmp(text.data() + p.start + p.key_start + 8, key + 8, p.key_length - 16) == 0)
                return &p;
        }
        return nullptr;
    }
    if (!hashed)
        hash();
    const Piece* best = nullptr;
    const size_t mask = slots.size() - 1;
    const size_t key_len = wanted;
    uint64_t h = HASH_START;
    size_t hashed = 0;
    for (uint32_t len : lengths) {
        if (len > key_len)
            break;
        for (; hashed < len; ++hashed)
            h = hash_step(h, static_cast<unsigned char>(key[hashed]));
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

File* g_last = nullptr;  // the file asked for last: most calls ask for it again

File& file_for(const char* name)
{
    if (g_last && strcmp(g_last->name.c_str(), name) == 0)
        return *g_last;
    for (const auto& f : g_files)
        if (strcmp(f->name.c_str(), name) == 0)
            return *(g_last = f.get());
    char path[NAME_SIZE];
    aux_concat(path, sizeof path, {CONF_DIR, "/", name});  // the doubled slash is harmless
    std::string host = dev_path(path);
    for (const auto& f : g_files)
        if (f->host == host)
            return *(g_last = f.get());  // another name that the 64-byte path cuts to the same file
    g_files.push_back(std::make_unique<File>());
    g_files.back()->name = name;
    g_files.back()->host = host;
    return *(g_last = g_files.back().get());
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
        f.changed();
    }
    // what the file held when read, kept once the request is to change it
    // (nothing is changed before), to tell at the end whether another request
    // changed the file meanwhile
    f.base = f.text;
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
        if (keys.size() < 2)
            return;  // one key is compared as it is (Matcher::hits)
        for (const std::string& k : keys)
            sorted_.emplace_back(k);
        std::sort(sorted_.begin(), sorted_.end());
        for (const std::string_view& k : sorted_)
            if (std::find(lengths_.begin(), lengths_.end(), k.size()) == lengths_.end())
                lengths_.push_back(k.size());
    }
    // whether a key part (a setting's text up to its first "=") begins with a key
    bool begins(const char* s, size_t key_part) const
    {
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

// Whether the key part of a line (its text up to the first "=") begins with
// <name>_<i>_<field> for an i from first to count.
bool begins_entry(const char* s, size_t key_part, const Change& c)
{
    const size_t n = c.name.size(), f = c.field.size();
    if (key_part < n + 3 + f || memcmp(s, c.name.data(), n) != 0 || s[n] != '_' || s[n + 1] == '0')
        return false;
    size_t at = n + 1;
    int number = 0;
    while (at < key_part && at - n - 1 < 3 && s[at] >= '0' && s[at] <= '9')
        number = number * 10 + (s[at++] - '0');
    return at > n + 1 && number >= c.first && number <= c.count && key_part - at >= f + 1 && s[at] == '_' &&
           memcmp(s + at + 1, c.field.data(), f) == 0;
}

// A change, ready to be tried on lines.
struct Matcher {
    const Change* change;
    uint64_t first_chars[4] = {0, 0, 0, 0};  // the first characters of the lines it can match
    KeyMatcher keys;
    bool adds;          // an ADD: it matches no line
    size_t single = 0;  // the length of a single key (0: not one key), and its last
    char last = 0;      // character: a line shorter or without it there cannot match
    explicit Matcher(const Change& c) : change(&c), keys(c.keys), adds(c.kind == Change::ADD)
    {
        if (c.kind == Change::DELETE_ENTRIES)
            allow(c.name[0]);
        for (const std::string& k : c.keys)
            allow(k[0]);
        if (c.keys.size() == 1 && !c.keys[0].empty()) {
            single = c.keys[0].size();
            last = c.keys[0].back();
        }
    }
    void allow(char c)
    {
        unsigned char u = static_cast<unsigned char>(c);
        first_chars[u / 64] |= uint64_t(1) << (u % 64);
    }
    bool may_start(char c) const
    {
        unsigned char u = static_cast<unsigned char>(c);
        return (first_chars[u / 64] >> (u % 64)) & 1;
    }
    // s: a setting's line (at least 2 characters, not a comment) whose key
    // part (the text up to the first "=") is key_part characters long
    bool hits(const char* s, size_t key_part) const
    {
        if (!may_start(s[0]))
            return false;
        if (change->kind == Change::DELETE_ENTRIES)
            return begins_entry(s, key_part, *change);
        if (change->keys.size() == 1) {
            const std::string& k = change->keys[0];
            return key_part >= k.size() && memcmp(s, k.data(), k.size()) == 0;
        }
        return keys.begins(s, key_part);
    }
};

// What the changes from, in order, leave of a line: the line as it is (s
// itself), a line a setting wrote instead, or none (deleted).
const char* through(const std::vector<Matcher>& matchers, size_t from, const char* s, size_t& length)
{
    size_t key_part = SIZE_MAX;  // of s; not a setting's line: 0
    for (size_t j = from; j < matchers.size(); ++j) {
        const Matcher& m = matchers[j];
        if (m.adds || !m.may_start(s[0]))
            continue;
        if (key_part == SIZE_MAX) {
            size_t usable = strnlen(s, length < PIECE ? length : PIECE);
            const char* eq = static_cast<const char*>(memchr(s, '=', usable));
            key_part = usable < 2 || s[0] == '#' ? 0 : eq ? size_t(eq - s) : usable;
            if (key_part == 0)
                return s;  // no change touches a line that is not a setting
        }
        if (m.single && (key_part < m.single || s[m.single - 1] != m.last))
            continue;
        if (!m.hits(s, key_part))
            continue;
        if (m.change->kind != Change::SET)
            return nullptr;  // the whole line goes, continuation included
        s = m.change->lines.data();
        length = m.change->lines.size();
        key_part = SIZE_MAX;
    }
    return s;
}

void apply_pass(std::string& text, const std::vector<Change>& changes, size_t from, size_t to);

// The text with changes[from, to) made to it, in one pass: every line goes
// through the changes in their order, and the lines that a change appends go
// through the changes after it.
void apply(std::string& text, const std::vector<Change>& changes, size_t from, size_t to)
{
    if (from >= to)
        return;
    if (memchr(text.data(), '\0', text.size())) {
        // A rewrite keeps of a piece only what stands before a zero byte in it, its newline
        // gone too, so the lines the next rewrite sees are not these: up to the first rewrite
        // one change (one key) at a time. Appending rewrites nothing.
        size_t j = from;
        for (; j < to && changes[j].kind == Change::ADD; ++j)
            text += changes[j].lines;
        if (j == to)
            return;
        const Change& c = changes[j];
        std::vector<Change> steps(1, c);
        if (c.kind == Change::DELETE && c.keys.size() > 1) {
            steps[0].keys.resize(1);
            steps.push_back(c);
            steps[1].keys.erase(steps[1].keys.begin());
        } else if (c.kind == Change::DELETE_ENTRIES && c.count > c.first) {
            steps[0].count = c.first;
            steps.push_back(c);
            steps[1].first = c.first + 1;
        }
        apply_pass(text, steps, 0, 1);
        apply_pass(text, steps, 1, steps.size());
        apply(text, changes, j + 1, to);
        return;
    }
    if (!text.empty() && text.back() != '\n') {
        // lines appended to a last line without its newline join it: the changes after them see
        // one line there, so they come after the text is made up to and with the appending
        size_t j = from;
        while (j < to && changes[j].kind != Change::ADD)
            ++j;
        if (j + 1 < to) {
            apply_pass(text, changes, from, j + 1);
            apply(text, changes, j + 1, to);
            return;
        }
    }
    apply_pass(text, changes, from, to);
}

void apply_pass(std::string& text, const std::vector<Change>& changes, size_t from, size_t to)
{
    if (from >= to)
        return;
    const bool zeros = memchr(text.data(), '\0', text.size()) != nullptr;
    std::vector<Matcher> matchers;
    matchers.reserve(to - from);
    bool adds = false;
    for (size_t j = from; j < to; ++j) {
        matchers.emplace_back(changes[j]);
        adds = adds || changes[j].kind == Change::ADD;
    }
    std::string out;
    out.reserve(text.size() + PIECE);
    size_t kept = 0;  // text[kept, at) is still to be copied
    for (size_t at = 0, end; at < text.size(); at = end) {
        each_line(text, at, end);
        const char* s = text.data() + at;
        size_t length = end - at;
        const char* left = through(matchers, 0, s, length);
        if (left == s && !zeros)
            continue;
        out.append(text, kept, at - kept);
        kept = end;
        if (left == s)
            copy_line(out, s, length);
        else if (left)
            out.append(left, length);
    }
    out.append(text, kept, text.size() - kept);
    for (size_t j = 0; adds && j < matchers.size(); ++j) {
        if (matchers[j].change->kind != Change::ADD)
            continue;
        const std::string& lines = matchers[j].change->lines;
        for (size_t at = 0, end; at < lines.size(); at = end) {
            each_line(lines, at, end);
            size_t length = end - at;
            if (const char* left = through(matchers, j + 1, lines.data() + at, length))
                out.append(left, length);
        }
    }
    text.swap(out);
}

// The file's text with all of the request's changes in it.
void materialize(File& f)
{
    if (f.applied == f.changes.size())
        return;
    apply(f.text, f.changes, f.applied, f.changes.size());
    f.applied = f.changes.size();
    f.changed();
}

void record(File& f, Change&& change)
{
    if (f.changes.empty())
        f.changes.reserve(16);
    f.changes.push_back(std::move(change));
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
        f.applied = 0;
    }
    materialize(f);
    ok = ok && write_all(f.fd, f.text) && (f.text.size() >= now.size() || ftruncate(f.fd, off_t(f.text.size())) == 0);
    int err = errno;
    lock(f.fd, LOCK_UN);
    if (!ok)
        aux_error("in file conf line 151", err);
    f.base = f.text;
    f.changes.clear();
    f.applied = 0;
}

// "%s_%d_%s" of name, i (1 to 99) and field, cut to 63 characters.
void entry_key(char (&key)[NAME_SIZE], const char* name, int i, const char* field)
{
    char digits[2];
    size_t n = 0;
    if (i >= 10)
        digits[n++] = char('0' + i / 10 % 10);
    digits[n++] = char('0' + i % 10);
    size_t at = 0;
    auto put = [&](const char* text, size_t len) {
        if (len > sizeof key - 1 - at)
            len = sizeof key - 1 - at;
        memcpy(key + at, text, len);
        at += len;
    };
    put(name, strlen(name));
    put("_", 1);
    put(digits, n);
    put("_", 1);
    put(field, strlen(field));
    key[at] = '\0';
}

void cut_key(char (&key)[NAME_SIZE], const char* wanted)
{
    size_t len = strnlen(wanted, NAME_SIZE - 1);
    memcpy(key, wanted, len);
    key[len] = '\0';
}

// The value of the first line answering key, if any.
// Whether the changes not made to the text yet leave the answer for key as
// it is. They do when each sets or deletes one key that does not begin key:
// such a change touches only lines whose key it begins, none of which can
// answer key, and the line a setting writes has its own key; the lines that
// can answer key, and their order, stay. A text with a zero byte is rewritten
// whole by any change, so it is never looked at so.
bool answer_stays(const File& f, const char* key)
{
    for (size_t j = f.applied; j < f.changes.size(); ++j) {
        const Change& c = f.changes[j];
        if ((c.kind != Change::SET && c.kind != Change::DELETE) || c.keys.size() != 1 ||
            strncmp(key, c.keys[0].c_str(), c.keys[0].size()) == 0)
            return false;
    }
    return !memchr(f.text.data(), '\0', f.text.size());
}

bool lookup(File& f, const char* key, Text& value, std::string& joined)
{
    if (f.applied != f.changes.size() && !answer_stays(f, key))
        materialize(f);
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
    value = line_text(after, end, joined);
    return true;
}

// The first line answering each of the keys NAME_i_FIELD, i from 1 to
// count, found in one pass over the file's lines: a line's key is a prefix of
// NAME_i_FIELD for every i when it is a prefix of "NAME_"; for the i whose
// digits it begins with when it is "NAME_" and digits; for the one i it names
// when "NAME_<i>" is followed by the start of "_FIELD".
void list_lines(File& f, const std::string& name, const std::string& field, int count, std::vector<const Piece*>& first)
{
    materialize(f);
    if (!f.indexed)
        f.index();
    first.assign(size_t(count) + 1, nullptr);
    const std::string head = name + "_", tail = "_" + field;
    int left = count;
    for (const Piece& p : f.pieces) {
        if (!p.has_key || left == 0)
            continue;
        const char* k = f.text.data() + p.start + p.key_start;
        const size_t len = p.key_length;
        int from = 1, to = 0;  // the entries this line answers: [from, to]
        if (len <= head.size()) {
            if (memcmp(k, head.data(), len) == 0)
                to = count;
        } else if (memcmp(k, head.data(), head.size()) == 0) {
            size_t d = head.size(), digits_end = d;
            while (digits_end < len && digits_end - d < 3 && k[digits_end] >= '0' && k[digits_end] <= '9')
                ++digits_end;
            size_t digits = digits_end - d;
            int number = 0;
            for (size_t j = d; j < digits_end; ++j)
                number = number * 10 + (k[j] - '0');
            if (digits == 0 || k[d] == '0') {
                // no entry's number is written so
            } else if (digits_end == len) {  // digits only: every i written with them first
                if (digits == 1) {
                    from = to = number;
                    for (int i = number * 10; i < number * 10 + 10 && i <= count; ++i)
                        if (!first[size_t(i)]) {
                            first[size_t(i)] = &p;
                            --left;
                        }
                } else if (digits == 2) {
                    from = to = number;
                }
            } else if (digits <= 2 && len - digits_end <= tail.size() &&
                       memcmp(k + digits_end, tail.data(), len - digits_end) == 0) {
                from = to = number;
            }
        }
        if (to > count)
            to = count;
        for (int i = from; i <= to; ++i)
            if (!first[size_t(i)]) {
                first[size_t(i)] = &p;
                --left;
            }
    }
}

void command_starts()
{
    conf_flush();
    conf_forget();
}

}  // namespace

void conf_flush()
{
    for (const auto& f : g_files)
        if (f->fd >= 0)
            flush(*f);
}

void conf_forget()
{
    conf_flush();
    for (const auto& f : g_files)
        if (f->fd >= 0)
            close(f->fd);
    g_files.clear();
    g_last = nullptr;
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
    Text value;
    std::string joined;
    if (lookup(f, key, value, joined)) {
        size_t len = value.size < size - 1 ? value.size : size - 1;
        memcpy(out, value.data, len);
        out[len] = '\0';
    }
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
    Text text;
    std::string joined;
    if (!lookup(f, key, text, joined))
        return false;
    value.assign(text.data, text.size);
    return true;
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
    Change change(Change::ADD);
    append_line(change.lines, key, value ? value : "");
    record(f, std::move(change));
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
    Change change(value ? Change::SET : Change::DELETE);
    change.keys.emplace_back(key);
    if (value)
        append_line(change.lines, key, value);
    record(f, std::move(change));
    return 0;
}

int conf_delete(const char* key, const char* file) { return conf_set(key, nullptr, file); }

int conf_delete_entries(const char* name, const char* field, int count, const char* file)
{
    if (count <= 0)
        return 0;
    const std::string longest = std::string(name) + "_99_" + field;
    if (!file || longest.size() >= NAME_SIZE) {  // keys the store cuts: one by one
        std::vector<std::string> keys;
        for (int i = 1; i <= count; ++i) {
            char key[NAME_SIZE];
            entry_key(key, name, i, field);
            keys.push_back(key);
        }
        return conf_delete_all(keys, file);
    }
    dev_before_command(command_starts);
    File& f = file_for(file);
    if (!writable(f, false, nullptr)) {  // each delete would report
        for (int i = 1; i < count; ++i)
            writable(f, false, nullptr);
        return -1;
    }
    Change change(Change::DELETE_ENTRIES);
    change.name = name;
    change.field = field;
    change.count = count;
    record(f, std::move(change));
    return 0;
}

int conf_add_entries(const char* name, const char* field, const std::vector<const char*>& values, const char* file)
{
    dev_before_command(command_starts);
    File& f = file_for(file ? file : "");
    if (!writable(f, true, "in file conf line 80")) {  // each add would report
        for (size_t i = 1; i < values.size(); ++i)
            writable(f, true, "in file conf line 80");
        return -1;
    }
    Change change(Change::ADD);
    for (size_t i = 0; i < values.size(); ++i) {
        char key[NAME_SIZE];
        entry_key(key, name, int(i + 1), field);
        append_line(change.lines, key, values[i]);
    }
    record(f, std::move(change));
    return 0;
}

void conf_list_values(const char* name, const char* field, int count, const char* file,
                      void (*each)(void* to, const char* value, size_t len), void* to)
{
    // keys longer than the store keeps are cut: those go one by one
    const std::string longest = std::string(name) + "_99_" + field;
    if (count <= 0 || longest.size() >= NAME_SIZE) {
        for (int i = 1; i <= count; ++i) {
            char key[NAME_SIZE], value[CONF_VALUE_SIZE];
            entry_key(key, name, i, field);
            conf_get(key, value, sizeof value, file);
            each(to, value, strlen(value));
        }
        return;
    }
    dev_before_command(command_starts);
    File& f = file_for(file);
    if (!load(f)) {
        for (int i = 1; i <= count; ++i) {
            aux_error("in file conf line 36", f.error);
            each(to, "", 0);
        }
        return;
    }
    std::vector<const Piece*> first;
    list_lines(f, name, field, count, first);
    std::string joined;
    for (int i = 1; i <= count; ++i) {
        const Piece* p = first[size_t(i)];
        if (!p) {
            each(to, "", 0);
            continue;
        }
        const char* s = f.text.data() + p->start;
        const char* end = s + strnlen(s, p->length);
        const char* after = s + p->key_start + p->key_length;
        if (after < end)
            ++after;
        Text value = line_text(after, end, joined);
        size_t len = value.size < CONF_VALUE_SIZE - 1 ? value.size : CONF_VALUE_SIZE - 1;
        each(to, value.data, len);
    }
}

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
    Change change(Change::DELETE);
    for (const std::string& k : keys) {
        char key[NAME_SIZE];
        cut_key(key, k.c_str());
        change.keys.push_back(key);
    }
    record(f, std::move(change));
    return 0;
}
