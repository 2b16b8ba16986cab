// The fast paths of the request: uploads copied a stretch at a time, settings and messages found in a file read
// once, store changes made in one pass and page replacements made together all give what the plain rules give.
#include <random>
#include <utility>

#include "unit_support.h"

namespace {

std::mt19937 g_rng(20261121);
size_t below(size_t n) { return n ? g_rng() % n : 0; }
template <class T, size_t N>
const T& pick(const T (&from)[N]) { return from[below(N)]; }

FILE* open_text(std::string& text) { return text.empty() ? fopen("/dev/null", "r") : fmemopen(&text[0], text.size(), "r"); }

// The upload loop's rule, one byte at a time through the ring: what it stores of s for the delimiter d, and how
// far it reads s.
std::pair<std::string, long> ring_rule(std::string s, const std::string& d)
{
    FILE* in = open_text(s);
    RingBuffer ring{};
    int32_t size = int32_t(d.size()), filled = 0;
    EXPECT_EQ(ring_init(&ring, size, in, &filled), 0);
    std::string out;
    if (filled < size)
        out.assign(reinterpret_cast<char*>(ring.bytes), size_t(filled));
    for (bool ended = false; filled == size && ring_compare(&ring, d.c_str()) != 0;) {
        if (ended) {
            for (int32_t i = 0; i + 1 < size; ++i)
                out += char(ring.bytes[(ring.position + i) % size]);
            break;
        }
        out += char(ring_get(&ring));
        const int c = getc(in);
        if ((ended = c == EOF))
            ring.position = (ring.position + 1) % size;
        else
            ring_put(&ring, static_cast<unsigned char>(c));
    }
    const long consumed = ftell(in);
    ring_free(&ring);
    fclose(in);
    return {out, consumed};
}

// What a reader going through the file with fgets and strtok finds: the run after the first line (piece) whose key
// is a prefix of key ("" when none); a piece continuing a longer line is a line only when continuations count.
std::string line_rule(std::string text, const char* key, int size, const char* separator, const char* stop,
                      bool continuations)
{
    FILE* f = open_text(text);
    char line[512] = {}, *save = nullptr;
    std::string found;
    for (bool at_start = true, start; fgets(line, size, f);) {
        start = at_start;
        at_start = strchr(line, '\n') || strlen(line) < size_t(size - 1);
        const char* k = start || continuations ? strtok_r(line, separator, &save) : nullptr;
        if (k && strncmp(k, key, strlen(k)) == 0) {
            const char* value = strtok_r(nullptr, stop, &save);
            found = value ? value : "";
            break;
        }
    }
    fclose(f);
    return found;
}
std::string setting_rule(const std::string& text, const std::string& key)  // a value's line break reads as none
{
    const std::string value = line_rule(text, key.c_str(), 256, "=", "'", false);
    return value[0] == '\n' ? "" : value;
}

using StreamPaths = SandboxTest;

}  // namespace

TEST_F(StreamPaths, UploadsAreCutWhereTheRingCutsThem)
{
    const std::string delimiters[] = {"--XYZ", "--XX", "-a", "--", "------WebKitFormBoundary7MA4YWxkTrZu0gW",
                                      "--" + std::string(93, 'q') + "r"};
    for (int round = 0; round < 120; ++round) {
        const std::string& d = pick(delimiters);
        std::string content;  // rich in the delimiter's pieces, with its first character often
        for (size_t length = below(4) ? below(40) : below(20000); content.size() < length;) {
            switch (below(6)) {
            case 0: content += d.substr(0, below(d.size() + 1)); break;
            case 1: content += "\r\n" + d.substr(0, d.size() - 1) + char('a' + below(3)); break;
            case 2: content += std::string(below(3000), char(below(256))); break;
            default: content += char(below(4) ? d[0] : below(256)); break;
            }
        }
        // A bare newline after the delimiter: a loop reading one byte too far would swallow the next part.
        const std::string stream = content + "\r\n" + d + "\nContent-Disposition: form-data; name=\"after\"\r\n\r\nok\r\n";
        const auto [stored, consumed] = ring_rule(stream, d);
        std::string body =
            d + "\r\nContent-Disposition: form-data; name=\"f\"; filename=\"u.bin\"\r\nContent-Type: x\r\n\r\n" + stream;
        FILE* in = open_text(body);
        http_set_input(in);
        setenv("CONTENT_LENGTH", std::to_string(body.size()).c_str(), 1);
        http_free();
        g_request.variables = http_node_new("", "");
        testing::internal::CaptureStdout();
        http_parse_multipart(0, nullptr);
        testing::internal::GetCapturedStdout();
        http_set_input(nullptr), fclose(in), unsetenv("CONTENT_LENGTH");
        ASSERT_EQ(slurp(root_ + "/tmp/upload/u.bin"), stored) << d << " round " << round;
        if (consumed == long(content.size() + 2 + d.size())) {  // the ring stopped at the real delimiter
            EXPECT_STREQ(http_var("after"), "ok") << d << " round " << round;
        }
    }
}

TEST_F(StreamPaths, SettingsAndMessagesAreWhatALineByLineReaderFinds)
{
    const char* const keys[] = {"A", "AB", "HOST_1_IP", "HOST_10_IP", "KEY", "=A"};
    const std::string lines[] = {"A='1'", "AB='2'", "HOST_1_IP='a'", "HOST_10_IP='b'", "=A=x", "==", "#A='c'", "",
                                 "KEY", std::string("AB\0X='z'", 8), std::string(300, 'K') + "='long'", "A:m:n",
                                 "KEY=''", "AB=x'y", "A:" + std::string(600, 'm') + ":n", "A='" + std::string(260, 'v')};
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        for (size_t n = below(15); n > 0; --n)
            text += pick(lines) + (below(8) ? "\n" : "");
        const char* key = pick(keys);
        config("t.config", text);
        char value[CONF_VALUE_SIZE], message[AUX_MESSAGE_SIZE];
        ASSERT_EQ(conf_get(key, value, sizeof value, "t.config"), setting_rule(text, key)) << key << "\n" << text;
        messages(text);
        ASSERT_EQ(aux_message(key, message), line_rule(text, key, 512, ":", ":", true)) << key << "\n" << text;
    }
}

// The store's table of keys, its one pass over a list and its one pass over a request's changes give what asking
// key by key and changing line by line give.
TEST_F(StreamPaths, StoreFastPathsGiveTheLineByLineResults)
{
    const std::string pool[] = {"L_N='3'", "L_1_F='a'", "L_2_F='b'", "L_10_F='j'", "L_1='p'", "L_='q'", "L='r'",
                                "L_1_FX='s'", "L_01_F='t'", "L_3_F", "L_2_F='b2'", "M_1_F='m'", "#L_1_F='c'", "",
                                "=L_2_F='e'", "L_2_='f'", "L_3_F='g", "L_4_F=''", std::string("L_5\0_F='z'", 10)};
    const std::string keys[] = {"L_1_F", "L_2_F", "L_3_F", "L_10_F", "L_N", "M_1_F", "L_1", "X"};
    char value[CONF_VALUE_SIZE];
    for (int round = 0; round < 300; ++round) {
        std::string text;
        for (size_t n = 20 + below(40); n > 0; --n)
            text += pick(pool) + (below(12) ? "\n" : "");
        config("t.config", text);
        for (int ask = 0; ask < 60; ++ask) {  // every key a few dozen times: the table of keys takes over
            const std::string& key = pick(keys);
            ASSERT_EQ(conf_get(key.c_str(), value, sizeof value, "t.config"), setting_rule(text, key)) << key << "\n" << text;
        }
        std::string one_by_one, at_once;  // a list's entries in one pass
        for (int i = 1; i <= 11; ++i)
            one_by_one += setting_rule(text, "L_" + std::to_string(i) + "_F") + "|";
        conf_list_values("L", "F", 11, "t.config", [](void* to, const char* v, size_t len) {
            *static_cast<std::string*>(to) += std::string(v, len) + "|";
        }, &at_once);
        ASSERT_EQ(at_once, one_by_one) << text;
        // Changes, each as the line by line rewrite makes it (plain values), then written back at once.
        std::string expected = text;
        auto rewrite = [&expected](const std::string& key, const char* to) {
            std::string out;
            for (size_t at = 0, end; at < expected.size(); at = end) {
                end = std::min(expected.find('\n', at), expected.size() - 1) + 1;
                const std::string line = expected.substr(at, end - at), c = line.substr(0, strnlen(line.c_str(), line.size()));
                if (c.size() >= 2 && c[0] != '#' && c.find('=') >= key.size() && c.compare(0, key.size(), key) == 0)
                    out += to ? key + "='" + to + "'\n" : "";
                else
                    out += c;  // a rewrite keeps a line up to a zero byte in it
            }
            expected = out;
        };
        for (int step = 0; step < 8; ++step) {
            const std::string& key = pick(keys);
            switch (below(4)) {
            case 0: rewrite(key, "v"), conf_set(key.c_str(), "v", "t.config"); break;
            case 1: rewrite(key, nullptr), conf_delete(key.c_str(), "t.config"); break;
            case 2: expected += key + "='w'\n", conf_add(key.c_str(), "w", "t.config"); break;
            default: {
                const int old = int(below(4));
                for (int i = 1; i <= old; ++i)
                    rewrite("L_" + std::to_string(i) + "_F", nullptr);
                expected += "L_1_F='x'\nL_2_F='y'\n";
                rewrite("L_N", "2");
                conf_list_store("L", "F", old, "x y", "t.config");
            }
            }
            if (below(3) == 0) {  // read in between, that key or another: what the request sees so far
                const std::string& read = below(2) ? key : pick(keys);
                ASSERT_EQ(conf_get(read.c_str(), value, sizeof value, "t.config"), setting_rule(expected, read)) << read;
            }
        }
        ASSERT_EQ(config("t.config"), expected) << "from\n" << text;
    }
}

TEST_F(StreamPaths, ReplacementsGiveWhatWholeRebuildsGive)
{
    const char* const pieces[] = {"{X}", "{", "}", "X", "ab", "{Y}", "{{X}", "\n", "{XY}", "Y}"};
    const std::string marks[] = {"{X}", "{Y}", "{XY}"};
    const char* const texts[] = {"}X{", "X}", "Y", "}", "{", "", "x"};
    for (int round = 0; round < 600; ++round) {
        std::string expected;
        for (size_t n = below(40); n > 0; --n)
            expected += pick(pieces);
        page(expected);
        for (int step = 0; step < 6; ++step) {
            const std::string& mark = pick(marks);
            std::string text;  // never holding its own mark
            for (size_t n = below(4); n > 0; --n)
                text += below(3) ? std::string(below(60), 'x') : pick(texts);
            if (text.find(mark) != std::string::npos)
                continue;
            // The rule: find the first occurrence from the start, rebuild, search again from the start.
            for (size_t at; (at = expected.find(mark)) != std::string::npos;)
                expected = expected.substr(0, at) + text + expected.substr(at + mark.size());
            tmpl_replace(mark.c_str(), text.c_str());
            if (below(3) == 0) {  // replacements may wait: the page as it is looked at
                ASSERT_EQ(page(), expected) << "round " << round << " step " << step;
            }
        }
        ASSERT_EQ(page(), expected) << "round " << round;
    }
}
