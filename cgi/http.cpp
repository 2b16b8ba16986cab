#include "cgi/http.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <unistd.h>

#include "device/device.h"
#include "render/aux.h"

RequestState g_request;

namespace {

FILE* g_in = nullptr;

FILE* input() { return g_in ? g_in : stdin; }

// The bounds of one request. Past any of them the request is refused as a
// failed allocation ("in file http line 258", ENOMEM) and everything it
// brought is dropped, so that no request holds more than a few MiB of memory.
// A multipart body (it carries uploads) larger than this.
constexpr long BODY_LIMIT = 16L * 1024 * 1024;
// A urlencoded body (a form without uploads). The largest form the pages send,
// the dial-out page with its four lists of 99 providers at their longest, is
// about 14 KB, 41 KB with every character percent-encoded.
constexpr long FORM_LIMIT = 256L * 1024;
// A query string; the pages' own are links of a few dozen bytes.
constexpr size_t QUERY_LIMIT = 64 * 1024;
// Request variables stored (query string, body and program arguments, or a
// multipart form's fields); the largest form, the OpenVPN page's, sends 30.
constexpr int VARIABLES_MAX = 1000;
// Uploaded files of one multipart form; the pages' forms send at most one.
constexpr int UPLOADS_MAX = 8;

int g_stored = 0;      // variables stored so far
bool g_over = false;   // a piece was not stored: VARIABLES_MAX reached

bool is_space(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }
bool is_alpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool is_alnum(char c) { return is_alpha(c) || (c >= '0' && c <= '9'); }

int hex_value(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// atoi without its undefined overflow: out-of-range numbers are clamped.
int32_t to_int(const char* text)
{
    // read here rather than by strtol, which costs a short request more: blanks,
    // a sign, then digits; a number past the range is clamped
    const char* p = text;
    while (is_space(*p))
        ++p;
    const bool negative = *p == '-';
    if (*p == '-' || *p == '+')
        ++p;
    long long v = 0;
    for (; *p >= '0' && *p <= '9'; ++p)
        if (v < (1LL << 40))
            v = v * 10 + (*p - '0');
    if (negative)
        v = -v;
    if (v > INT32_MAX)
        return INT32_MAX;
    if (v < INT32_MIN)
        return INT32_MIN;
    return int32_t(v);
}

void set_lang(const char* value, size_t keep)
{
    memset(g_request.lang, 0, sizeof g_request.lang);
    size_t len = strnlen(value, keep);
    memcpy(g_request.lang, value, len);
}

void add_decoded(char* piece);

// Splits text at '&' in the manner of strtok (empty pieces skipped) and
// stores every piece, each decoded where it stands: the text is the caller's
// copy.
void add_pieces(char* text)
{
    for (char* piece = text; *piece;) {
        char* amp = strchr(piece, '&');
        if (amp == piece) {
            ++piece;
            continue;
        }
        if (amp)
            *amp = '\0';
        add_decoded(piece);
        if (!amp)
            break;
        piece = amp + 1;
    }
}

// Reads at most length bytes of the body, however they arrive; returns a
// terminated text, or none when memory runs out.
char* read_body(long length)
{
    size_t cap = size_t(length < 65536 ? length : 65536);
    char* body = static_cast<char*>(malloc(cap + 1));
    if (!body)
        return nullptr;
    size_t got = 0;
    while (got < size_t(length)) {
        if (got == cap) {
            size_t grown = cap * 2 < size_t(length) ? cap * 2 : size_t(length);
            char* more = static_cast<char*>(realloc(body, grown + 1));
            if (!more) {
                free(body);
                return nullptr;
            }
            body = more;
            cap = grown;
        }
        size_t n = fread(body + got, 1, cap - got, input());
        if (n == 0)
            break;
        got += n;
    }
    body[got] = '\0';
    return body;
}

// The text from p up to the next double quote (or the end), as a string.
std::string quoted_field(const char* p)
{
    const char* end = strchr(p, '"');
    return end ? std::string(p, end) : std::string(p);
}

// p advanced by n characters, never past the terminator.
const char* skip_chars(const char* p, size_t n)
{
    while (n-- > 0 && *p)
        ++p;
    return p;
}

// The multipart body as the parser reads it, through a buffer of its own:
// read(2) from the input's file (an input without one, a test's text in
// memory, through its stdio reads). At most CONTENT_LENGTH bytes when the
// server gives the length, otherwise up to BODY_LIMIT bytes, past which a
// stream that still goes on is "over".
struct BodyReader {
    FILE* from;
    int fd;                  // the file read, or -1: stdio reads of from
    long left;               // bytes the body may still bring
    bool limited_by_length;
    bool over;
    bool ended;              // no more bytes (sticky, as a stream's end of file)
    size_t pos, end;         // the bytes not yet handed out: buf[pos, end)
    unsigned char buf[1 << 16];
};
BodyReader g_body;

void body_start(FILE* from, long left, bool limited_by_length)
{
    g_body.from = from;
    g_body.fd = fileno(from);
    g_body.left = left;
    g_body.limited_by_length = limited_by_length;
    g_body.over = false;
    g_body.ended = false;
    g_body.pos = g_body.end = 0;
}

size_t body_raw_read(unsigned char* into, size_t n)
{
    if (g_body.fd < 0)
        return fread(into, 1, n, g_body.from);
    for (;;) {
        ssize_t got = read(g_body.fd, into, n);
        if (got >= 0)
            return size_t(got);
        if (errno != EINTR)
            return 0;
    }
}

// Refills the buffer once it is empty; false when the body has no more.
bool body_fill()
{
    if (g_body.ended)
        return false;
    g_body.pos = g_body.end = 0;
    if (g_body.left <= 0) {
        unsigned char probe;
        if (!g_body.limited_by_length && body_raw_read(&probe, 1) == 1)
            g_body.over = true;
        g_body.ended = true;
        return false;
    }
    size_t want = sizeof g_body.buf < size_t(g_body.left) ? sizeof g_body.buf : size_t(g_body.left);
    size_t got = body_raw_read(g_body.buf, want);
    if (got == 0) {
        g_body.ended = true;
        return false;
    }
    g_body.left -= long(got);
    g_body.end = got;
    return true;
}

size_t body_available() { return g_body.end - g_body.pos; }

// getc: the next byte, or EOF.
int body_getc()
{
    if (g_body.pos == g_body.end && !body_fill())
        return EOF;
    return g_body.buf[g_body.pos++];
}

// fread: n bytes, fewer only where the body ends.
size_t body_read(unsigned char* into, size_t n)
{
    size_t got = 0;
    while (got < n && (g_body.pos < g_body.end || body_fill())) {
        size_t part = n - got < body_available() ? n - got : body_available();
        memcpy(into + got, g_body.buf + g_body.pos, part);
        g_body.pos += part;
        got += part;
    }
    return got;
}

// fgets: up to size - 1 bytes, through the first newline; false (and the
// empty text) when the body has no byte left.
bool read_line(char* buf, int size)
{
    size_t got = 0, room = size > 0 ? size_t(size - 1) : 0;
    while (got < room && (g_body.pos < g_body.end || body_fill())) {
        const unsigned char* from = g_body.buf + g_body.pos;
        size_t part = room - got < body_available() ? room - got : body_available();
        const void* newline = memchr(from, '\n', part);
        if (newline)
            part = size_t(static_cast<const unsigned char*>(newline) - from) + 1;
        memcpy(buf + got, from, part);
        g_body.pos += part;
        got += part;
        if (newline)
            break;
    }
    if (size > 0)
        buf[got] = '\0';
    return got > 0 || size == 1;
}

void skip_lines(int count)
{
    char line[1023];
    while (count-- > 0)
        read_line(line, sizeof line);
}

// An uploaded file name is used as a name inside the upload folder only.
bool safe_upload_name(const std::string& name)
{
    return name.find('/') == std::string::npos && name != "." && name != "..";
}

// Streams one upload into f until the ring holds the boundary, or until the
// input ends (then the file holds what the stream carried), one byte at a
// time.
void copy_upload_by_byte(FILE* f, const char* boundary)
{
    RingBuffer ring{};
    int32_t size = int32_t(strlen(boundary));
    int32_t filled = 0;
    if (ring_init(&ring, size, nullptr, nullptr) != 0)
        return;
    filled = int32_t(body_read(ring.bytes, size_t(ring.size)));
    if (filled < size) {
        fwrite(ring.bytes, 1, size_t(filled), f);
        ring_free(&ring);
        return;
    }
    bool ended = false;
    while (ring_compare(&ring, boundary) != 0) {
        if (ended) {
            // The newest byte is stale; the others are the last bytes sent.
            for (int32_t i = 0; i + 1 < size; ++i)
                putc(ring.bytes[(ring.position + i) % size], f);
            break;
        }
        putc(ring_get(&ring), f);
        int c = body_getc();
        if (c == EOF) {
            ended = true;
            ring.position = (ring.position + 1) % size;
        } else {
            ring_put(&ring, static_cast<unsigned char>(c));
        }
    }
    ring_free(&ring);
}

// An upload's bytes on their way into its file, written in large pieces.
class UploadWriter {
public:
    // f is fresh: nothing was written to it yet, so it can do without a
    // buffer of its own (stdio would pass on a large piece in two writes).
    explicit UploadWriter(FILE* f) : f_(f) { setvbuf(f_, nullptr, _IONBF, 0); }
    ~UploadWriter() { flush(); }
    void put(const unsigned char* bytes, size_t n)
    {
        while (n > 0) {
            if (used_ == 0 && n >= sizeof buf_) {
                fwrite(bytes, 1, n, f_);
                return;
            }
            size_t part = n < sizeof buf_ - used_ ? n : sizeof buf_ - used_;
            memcpy(buf_ + used_, bytes, part);
            used_ += part;
            bytes += part;
            n -= part;
            if (used_ == sizeof buf_)
                flush();
        }
    }
    void flush()
    {
        if (used_ > 0)
            fwrite(buf_, 1, used_, f_);
        used_ = 0;
    }

private:
    FILE* f_;
    size_t used_ = 0;
    unsigned char buf_[1 << 16];
};

// The upload loop with the ring's result, a stretch at a time. The ring of
// B bytes slides one byte per step and matches where its first B-1 bytes are
// the boundary's first B-1 characters, provided the boundary's last two
// characters differ (its newest byte is never looked at). So every byte that
// is not the boundary's first character is written as the ring would write
// it, and only where that character appears are the next B-2 bytes taken to
// compare. The input is consumed exactly as far as the ring would have
// consumed it: to the end of the input, or B bytes from the match on.
void copy_upload(FILE* f, const char* boundary)
{
    const size_t size = strlen(boundary);
    unsigned char window[128];
    if (size < 2 || size > sizeof window) {
        copy_upload_by_byte(f, boundary);
        return;
    }
    const unsigned char* text = reinterpret_cast<const unsigned char*>(boundary);
    const unsigned char first = text[0];
    const size_t compared = size - 1;  // the bytes of the ring that are compared
    const bool can_match = text[size - 1] != text[size - 2];
    UploadWriter out(f);

    // The ring's first fill: B bytes, or what the input has.
    size_t held = body_read(window, size);  // consumed, not yet written
    if (held < size) {
        out.put(window, held);
        return;
    }
    for (;;) {
        // Write what cannot start a match.
        const unsigned char* candidate =
            can_match ? static_cast<const unsigned char*>(memchr(window, first, held)) : nullptr;
        if (!candidate) {
            out.put(window, held);
            held = 0;
            // Whole stretches of the reader's buffer up to the next first character.
            for (;;) {
                if (g_body.pos == g_body.end && !body_fill())
                    return;  // the input ended: all of it is written
                const unsigned char* bytes = g_body.buf + g_body.pos;
                const size_t n = body_available();
                const unsigned char* hit =
                    can_match ? static_cast<const unsigned char*>(memchr(bytes, first, n)) : nullptr;
                if (!hit) {
                    out.put(bytes, n);
                    g_body.pos += n;
                    continue;
                }
                out.put(bytes, size_t(hit - bytes));
                g_body.pos += size_t(hit - bytes) + 1;
                window[0] = first;
                held = 1;
                break;
            }
        } else if (candidate != window) {
            out.put(window, size_t(candidate - window));
            held -= size_t(candidate - window);
            memmove(window, candidate, held);
        }
        // window[0] is the first character: take the rest of the compared bytes.
        if (held < compared)
            held += body_read(window + held, compared - held);
        if (held < compared) {
            out.put(window, held);  // too short for the boundary: the input ended
            return;
        }
        if (memcmp(window, text, compared) == 0) {
            // A match: the ring also holds the byte after these.
            if (held == compared)
                body_getc();
            return;
        }
        out.put(window, 1);
        --held;
        memmove(window, window + 1, held);
    }
}

// Forgets everything the request brought: its uploads (files too), its
// variables, lang, item and act.
void drop_request()
{
    while (HListNode* upload = g_request.files) {
        dev_unlink((std::string("/tmp/upload/") + upload->value).c_str());
        g_request.files = upload->next;
        http_node_free(upload);
    }
    while (g_request.variables && g_request.variables->next) {
        HListNode* node = g_request.variables;
        g_request.variables = node->next;
        http_node_free(node);
    }
    memset(g_request.lang, 0, sizeof g_request.lang);
    g_request.item = 0;
    g_request.act = 0;
}

// A request past one of the bounds: nothing of it is kept, so that no page
// applies half a form.
void refuse_request()
{
    drop_request();
    aux_error("in file http line 258", ENOMEM);
}

// Stores a variable at the head of HList, unless VARIABLES_MAX are stored
// (then g_over is set); false when it was not stored.
bool store_variable(HListNode* node)
{
    if (g_stored >= VARIABLES_MAX) {
        g_over = true;
        http_node_free(node);
        return false;
    }
    ++g_stored;
    node->next = g_request.variables;
    g_request.variables = node;
    return true;
}

constexpr int PARTS_OVER = -2;  // parse_parts: a bound was reached
int parse_parts();

}  // namespace

void http_set_input(FILE* in) { g_in = in; }

char* http_strdup(const char* text)
{
    if (!text) {
        aux_error("in file http line 105", EINVAL);
        return nullptr;
    }
    char* copy = strdup(text);
    if (!copy)
        aux_error("in file http line 113", errno);
    return copy;
}

namespace {

// A node of name and value (their lengths known), both behind it in one allocation.
HListNode* node_of(const char* name, size_t name_len, const char* value, size_t value_len)
{
    const size_t name_size = name_len + 1, value_size = value_len + 1;
    // from the request's own block of memory (cgi/arena.cpp), which costs
    // far less than the first allocations from malloc
    HListNode* node = static_cast<HListNode*>(operator new(sizeof(HListNode) + name_size + value_size, std::nothrow));
    if (!node) {
        aux_error("in file http line 61", ENOMEM);
        return nullptr;
    }
    node->name = reinterpret_cast<char*>(node + 1);
    node->value = node->name + name_size;
    memcpy(node->name, name, name_size);
    memcpy(node->value, value, value_size);
    node->next = nullptr;
    return node;
}

}  // namespace

HListNode* http_node_new(const char* name, const char* value)
{
    if (!name || !value) {
        aux_error("in file http line 55", EINVAL);
        return nullptr;
    }
    return node_of(name, strlen(name), value, strlen(value));
}

void http_node_free(HListNode* node) { operator delete(node); }

namespace {

// Decodes text in place (see http_decode); returns its new length.
size_t decode(char* text)
{
    const char* in = text;
    while (is_space(*in))
        ++in;
    char* out = text;
    // the run before the first "+" or "%" moves as it is (most values have none)
    const size_t plain = strcspn(in, "+%");
    if (in != text)
        memmove(out, in, plain);
    out += plain;
    in += plain;
    while (*in) {
        int hi, lo;
        if (*in == '+') {
            *out++ = ' ';
            ++in;
        } else if (*in == '%' && (hi = hex_value(in[1])) >= 0 && (lo = hex_value(in[2])) >= 0) {
            *out++ = char(hi * 16 + lo);
            in += 3;
        } else {
            *out++ = *in++;
        }
    }
    while (out > text && is_space(out[-1]))
        --out;
    *out = '\0';
    return size_t(out - text);
}

// Stores the pair of a piece, decoded where it stands.
void add_decoded(char* piece)
{
    const size_t len = decode(piece);
    char* p = piece;
    if (!is_alpha(*p) && *p != '_')
        return;
    ++p;
    while (is_alnum(*p) || *p == '_')
        ++p;
    if (*p != '=')
        return;
    *p = '\0';
    const char* name = piece;
    const size_t name_len = size_t(p - piece);
    const char* value = p + 1;
    if (name_len == 4 && memcmp(name, "lang", 4) == 0) {
        set_lang(value, 6);
    } else if (name_len == 4 && memcmp(name, "item", 4) == 0) {
        g_request.item = to_int(value);
    } else if (name_len == 3 && memcmp(name, "act", 3) == 0) {
        g_request.act = to_int(value);
    } else if (g_stored >= VARIABLES_MAX) {
        g_over = true;
    } else if (HListNode* node = node_of(name, name_len, value, len - name_len - 1)) {
        store_variable(node);
    }
}

}  // namespace

char* http_decode(char* text)
{
    decode(text);
    return text;
}

void http_add_pair(const char* piece)
{
    if (!piece)
        return;
    // a piece is decoded in a copy: a short one on the stack
    char small[512];
    const size_t len = strlen(piece);
    char* copy = len < sizeof small ? static_cast<char*>(memcpy(small, piece, len + 1)) : http_strdup(piece);
    if (!copy)
        return;
    add_decoded(copy);
    if (copy != small)
        free(copy);
}

const char* http_lookup(const char* name, int which)
{
    HListNode* node = which == 1 ? g_request.variables : which == 2 ? g_request.files : nullptr;
    if (!node || !name)
        return nullptr;
    size_t len = strlen(name);
    for (; node->next; node = node->next) {
        if ((len == 0 || node->name[0] == name[0]) && strncmp(name, node->name, len) == 0)
            return node->value;
    }
    return node->value;
}

const char* http_var(const char* name) { return http_lookup(name, 1); }
const char* http_file(const char* name) { return http_lookup(name, 2); }

const char* http_lang()
{
    const char* lang = g_request.lang;
    if (lang[0] == '\0' || lang[0] == '.' || strchr(lang, '/'))
        return HTTP_DEFAULT_LANG;
    return lang;
}

int http_item() { return g_request.item; }
int http_act() { return g_request.act; }

int http_free()
{
    for (HListNode** list : {&g_request.variables, &g_request.files}) {
        while (HListNode* node = *list) {
            *list = node->next;
            http_node_free(node);
        }
    }
    memset(g_request.lang, 0, sizeof g_request.lang);
    g_request.item = 0;
    g_request.act = 0;
    return 0;
}

int http_parse(int argc, char** argv)
{
    g_request.variables = nullptr;
    g_request.files = nullptr;
    memset(g_request.lang, 0, sizeof g_request.lang);
    g_request.item = 0;
    g_request.act = 0;
    g_stored = 0;
    g_over = false;
    HListNode* sentinel = http_node_new("", "");
    if (!sentinel)
        return -1;
    g_request.variables = sentinel;
    const char* type = getenv("CONTENT_TYPE");
    if (type && strncmp(type, "multipart/form-data", 19) == 0)
        http_parse_multipart(argc, argv);
    else
        http_parse_urlencoded(argc, argv);
    return 0;
}

// The query string, then the body, then the program arguments. A query string
// over QUERY_LIMIT, a body over FORM_LIMIT (unread) and more than
// VARIABLES_MAX variables are refused, with all the request brought.
void http_parse_urlencoded(int argc, char** argv)
{
    if (const char* query = getenv("QUERY_STRING")) {
        if (strlen(query) > QUERY_LIMIT) {
            refuse_request();
            return;
        }
        if (char* copy = http_strdup(query)) {
            add_pieces(copy);
            free(copy);
        }
        if (g_over) {
            refuse_request();
            return;
        }
    }
    const char* method = getenv("REQUEST_METHOD");
    if (method && strncmp(method, "POST", 4) == 0) {
        const char* length_text = getenv("CONTENT_LENGTH");
        long length = length_text ? strtol(length_text, nullptr, 10) : 0;
        if (length < 0)
            length = 0;
        if (length > FORM_LIMIT) {
            refuse_request();
            return;
        }
        char* body = read_body(length);
        if (!body) {
            aux_error("in file http line 258", errno);
            return;
        }
        add_pieces(body);
        free(body);
        if (g_over) {
            refuse_request();
            return;
        }
    }
    for (int i = 1; i < argc; ++i)
        http_add_pair(argv[i]);
    if (g_over)
        refuse_request();
}

// A multipart body is read no further than CONTENT_LENGTH. One declared
// larger than BODY_LIMIT is refused unread; without a length (or with a
// negative one) a stream that goes on past BODY_LIMIT is refused when it gets
// there; a form with more than VARIABLES_MAX fields or UPLOADS_MAX files is
// refused at the one too many. Each is reported as the failed allocation of an
// over-long urlencoded body is, and what the body brought is dropped.
int http_parse_multipart(int, char**)
{
    const char* length_text = getenv("CONTENT_LENGTH");
    long length = length_text ? strtol(length_text, nullptr, 10) : -1;
    if (length > BODY_LIMIT) {
        aux_error("in file http line 258", ENOMEM);
        return -1;
    }
    body_start(input(), length >= 0 ? length : BODY_LIMIT, length >= 0);
    int result = parse_parts();
    if (g_body.over || result == PARTS_OVER) {
        refuse_request();
        return -1;
    }
    return result;
}

namespace {

int parse_parts()
{
    char first[99];
    if (!read_line(first, sizeof first))
        aux_error("in file http line 297", EMSGSIZE);
    else if (strlen(first) == sizeof first - 1 && first[sizeof first - 2] != '\n')
        aux_error("in file http line 301", EMSGSIZE);
    size_t first_len = strlen(first);
    first[first_len >= 2 ? first_len - 2 : 0] = '\0';
    const char* boundary = first;

    bool have_lang = false, have_item = false, have_act = false;
    int uploads = 0;
    char line[1023];
    for (;;) {
        if (!read_line(line, sizeof line) || line[0] == '\0')
            return 0;
        if (strlen(line) == sizeof line - 1 && line[sizeof line - 2] != '\n')
            aux_error("in file http line 309", EMSGSIZE);

        if (const char* fn = strstr(line, "filename=")) {
            std::string file_name = quoted_field(skip_chars(fn, 10));
            const char* nm = strstr(line, "name=");
            if (!nm) {
                aux_error("in file http line 323", EINVAL);
                return -1;
            }
            std::string field = quoted_field(skip_chars(nm, 6));
            if (file_name.empty()) {
                skip_lines(2);
            } else {
                if (++uploads > UPLOADS_MAX || g_stored >= VARIABLES_MAX)
                    return PARTS_OVER;
                HListNode* node = http_node_new(field.c_str(), file_name.c_str());
                if (!node) {
                    aux_error("in file http line 332", ENOMEM);
                    return -1;
                }
                FILE* f = nullptr;
                int err = EACCES;
                if (safe_upload_name(file_name)) {
                    f = dev_create(("/tmp/upload/" + file_name).c_str(), "w");
                    err = errno;
                }
                if (!f) {
                    http_node_free(node);
                    aux_error("in file http line 339", err);
                    return -1;
                }
                ++g_stored;
                node->next = g_request.files;
                g_request.files = node;
                skip_lines(2);
                copy_upload(f, boundary);
                fclose(f);
            }
        } else {
            const char* nm = strstr(line, "name=");
            if (!nm) {
                aux_error("in file http line 369", EINVAL);
                return -1;
            }
            std::string field = quoted_field(skip_chars(nm, 6));
            skip_lines(1);
            char value[1023];
            read_line(value, sizeof value);
            size_t len = strlen(value);
            value[len >= 2 ? len - 2 : 0] = '\0';
            if (field == "lang" && !have_lang) {
                have_lang = true;
                set_lang(value, 7);
            } else if (field == "item" && !have_item) {
                have_item = true;
                g_request.item = to_int(value);
            } else if (field == "act" && !have_act) {
                have_act = true;
                g_request.act = to_int(value);
            } else if (g_stored >= VARIABLES_MAX) {
                return PARTS_OVER;
            } else if (HListNode* node = http_node_new(field.c_str(), value)) {
                store_variable(node);
            } else {
                aux_error("in file http line 399", ENOMEM);
            }
        }
        skip_lines(1);
    }
}

}  // namespace

int http_move_upload(const char* name, const char* dir, const char* target)
{
    std::string command;
    try {
        command = "/usr/bin/sudo /bin/mv -f /tmp/upload/" + sh_quote(name) + " " + (dir ? dir : "") +
                  sh_quote(target) + " > /dev/null";
    } catch (const std::bad_alloc&) {
        aux_error("in file http line 467", ENOMEM);
        return -1;
    }
    dev_system(command.c_str());
    return 0;
}

int ring_init(RingBuffer* ring, int32_t size, FILE* in, int32_t* filled)
{
    ring->size = size < 0 ? 0 : size;
    ring->position = 0;
    ring->bytes = static_cast<unsigned char*>(calloc(size_t(ring->size) + 1, 1));
    if (!ring->bytes)
        return -1;
    size_t n = ring->size > 0 && in ? fread(ring->bytes, 1, size_t(ring->size), in) : 0;
    if (filled)
        *filled = int32_t(n);
    return 0;
}

void ring_put(RingBuffer* ring, unsigned char byte)
{
    ring->bytes[ring->position] = byte;
    ring->position = (ring->position + 1) % ring->size;
}

unsigned char ring_get(const RingBuffer* ring) { return ring->bytes[ring->position]; }

int ring_compare(const RingBuffer* ring, const char* text)
{
    int32_t len = int32_t(strlen(text));
    if (ring->size < len)
        return -1;
    if (ring->size > len)
        return 1;
    if (len == 0)
        return 0;
    for (int32_t i = 0; i + 1 < len; ++i) {
        if (static_cast<unsigned char>(text[i]) != ring->bytes[(ring->position + i) % len])
            return 1;
    }
    // The last character is held against the byte compared last, not the
    // ring's newest byte.
    int32_t last = (ring->position + len - 2 + len) % len;
    return static_cast<unsigned char>(text[len - 1]) == ring->bytes[last] ? 1 : 0;
}

void ring_free(RingBuffer* ring)
{
    free(ring->bytes);
    ring->bytes = nullptr;
}
