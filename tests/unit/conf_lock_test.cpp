// Several requests at once on one configuration file: rewrites of different
// keys and appends are never lost, and no reader sees a half-written file.
#include "conf/conf.h"

#include <sys/wait.h>
#include <vector>

#include "unit_support.h"

namespace {

constexpr int WRITERS = 4, READERS = 2, ROUNDS = 60, READS = 150;
const char* const KEYS[WRITERS] = {"WA", "WB", "WC", "WD"};  // none a prefix of another

// A torn read shows as a key that every version of the file holds but the reader did not find.
int torn_reads()
{
    conf_forget();  // a request of its own: the file as it is now
    int torn = 0;
    char value[CONF_VALUE_SIZE];
    torn += strcmp(conf_get("SENTINEL", value, sizeof value, "s.config"), "ok") != 0;
    for (const char* key : KEYS)
        torn += *conf_get(key, value, sizeof value, "s.config") == '\0';
    return torn;
}

// Starts a process running work once the barrier (a pipe) is closed; its exit status is work's result (at most
// 255).
pid_t spawn(const int (&barrier)[2], const std::function<int()>& work)
{
    fflush(stdout);
    pid_t pid = fork();
    if (pid == 0) {
        close(barrier[1]);
        alarm(120);  // a process that hangs is killed, and the test fails
        char c;
        ssize_t opened = read(barrier[0], &c, 1);
        (void)opened;
        int problems = work();
        _exit(problems > 255 ? 255 : problems);
    }
    return pid;
}

// A list of 2 to 6 entries, another length each round.
std::string list_text(int round)
{
    std::string text;
    for (int i = 0; i < 2 + round % 5; ++i)
        text += "r" + std::to_string(round) + "e" + std::to_string(i) + " ";
    return text;
}

struct ConfLock : SandboxTest {};

}  // namespace

TEST_F(ConfLock, ConcurrentRewritesAndAppendsLoseNothingAndNeverTear)
{
    std::string initial = "# shared by every request\nSENTINEL='ok'\n";
    for (const char* key : KEYS)
        initial += std::string(key) + "='start'\n";
    for (const char* key : KEYS)
        initial += std::string("L") + key + "_N='0'\n";
    config("s.config", initial);

    int barrier[2];
    ASSERT_EQ(pipe(barrier), 0);
    std::vector<pid_t> children;
    for (int w = 0; w < WRITERS; ++w)  // each rewrites its own key and appends keys of its own
        children.push_back(spawn(barrier, [w] {
            int torn = 0;
            for (int round = 0; round < ROUNDS; ++round) {  // each round a request
                conf_forget();
                conf_set(KEYS[w], ("v" + std::to_string(round)).c_str(), "s.config");
                if (round % 4 == 0)
                    conf_add(("X" + std::string(KEYS[w]) + "_" + std::to_string(round)).c_str(), "x", "s.config");
                const std::string list = std::string("L") + KEYS[w];  // lists of all writers in one file
                conf_list_store(list.c_str(), "F", conf_list_count(list.c_str(), "s.config"),
                                list_text(round).c_str(), "s.config");
                conf_flush();
                torn += torn_reads();
            }
            return torn;
        }));
    for (int r = 0; r < READERS; ++r)
        children.push_back(spawn(barrier, [] {
            int torn = 0;
            for (int i = 0; i < READS; ++i)
                torn += torn_reads();
            return torn;
        }));
    close(barrier[0]);
    close(barrier[1]);  // all start at once
    int torn = 0;
    for (pid_t pid : children) {
        int status = 0;
        ASSERT_EQ(waitpid(pid, &status, 0), pid);
        ASSERT_TRUE(WIFEXITED(status));
        torn += WEXITSTATUS(status);
    }
    EXPECT_EQ(torn, 0);

    std::string expected = initial;
    for (int w = 0; w < WRITERS; ++w) {
        expected.replace(expected.find(std::string(KEYS[w]) + "='start'"), std::string(KEYS[w]).size() + 8,
                         std::string(KEYS[w]) + "='v" + std::to_string(ROUNDS - 1) + "'");
        expected.replace(expected.find(std::string("L") + KEYS[w] + "_N='0'"), std::string(KEYS[w]).size() + 7,
                         std::string("L") + KEYS[w] + "_N='" + std::to_string(2 + (ROUNDS - 1) % 5) + "'");
    }
    std::string after = config("s.config");
    // each list holds exactly the entries of its last store, each once
    for (int w = 0; w < WRITERS; ++w)
        for (int i = 0; i < 2 + (ROUNDS - 1) % 5; ++i) {
            const std::string line = std::string("L") + KEYS[w] + "_" + std::to_string(i + 1) + "_F='r" +
                                     std::to_string(ROUNDS - 1) + "e" + std::to_string(i) + "'\n";
            size_t at = after.find(line);
            ASSERT_NE(at, std::string::npos) << line;
            after.erase(at, line.size());
            EXPECT_EQ(after.find(std::string("L") + KEYS[w] + "_" + std::to_string(i + 1) + "_F="), std::string::npos);
        }
    EXPECT_EQ(after.substr(0, expected.size()), expected);  // every last rewrite is there
    size_t appended = 0;  // each appended line once, after the settings
    for (int w = 0; w < WRITERS; ++w)
        for (int round = 0; round < ROUNDS; round += 4) {
            const std::string line = "X" + std::string(KEYS[w]) + "_" + std::to_string(round) + "='x'\n";
            EXPECT_NE(after.find(line, expected.size()), std::string::npos) << line;
            appended += line.size();
        }
    EXPECT_EQ(after.size(), expected.size() + appended);
    for (const auto& entry : std::filesystem::directory_iterator(root_ + "/tmp/ulsp"))  // no sibling left behind
        EXPECT_EQ(entry.path().filename(), "s.config");
}
