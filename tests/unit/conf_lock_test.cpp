// Several requests at once on one configuration file: rewrites of different keys, appends and lists are never
// lost, and no reader sees a half-written file.
#include <algorithm>
#include <sys/wait.h>
#include <vector>

#include "unit_support.h"

namespace {

constexpr int WRITERS = 4, READERS = 2, ROUNDS = 60, READS = 150, LAST = 2 + (ROUNDS - 1) % 5;
const std::string KEYS[WRITERS] = {"WA", "WB", "WC", "WD"};  // none a prefix of another

// A torn read shows as a key that every version of the file holds but the reader did not find.
int torn_reads()
{
    conf_forget();  // a request of its own: the file as it is now
    char value[CONF_VALUE_SIZE];
    int torn = strcmp(conf_get("SENTINEL", value, sizeof value, "s.config"), "ok") != 0;
    for (const std::string& key : KEYS)
        torn += *conf_get(key.c_str(), value, sizeof value, "s.config") == '\0';
    return torn;
}

// A process that runs work once the barrier (a pipe) is closed; its exit status is work's result (at most 255).
pid_t spawn(const int (&barrier)[2], const std::function<int()>& work)
{
    fflush(stdout);
    const pid_t pid = fork();
    if (pid == 0) {
        close(barrier[1]);
        alarm(120);  // a process that hangs is killed, and the test fails
        char c;
        _exit(read(barrier[0], &c, 1) < 0 ? 255 : std::min(work(), 255));
    }
    return pid;
}

std::string entry(int round, int i) { return "r" + std::to_string(round) + "e" + std::to_string(i); }

}  // namespace

struct ConfLock : SandboxTest {};

TEST_F(ConfLock, ConcurrentRewritesAppendsAndListsLoseNothingAndNeverTear)
{
    std::string initial = "# shared by every request\nSENTINEL='ok'\n", expected = initial;
    for (const std::string& key : KEYS)
        initial += key + "='start'\n", expected += key + "='v" + std::to_string(ROUNDS - 1) + "'\n";
    for (const std::string& key : KEYS)
        initial += "L" + key + "_N='0'\n", expected += "L" + key + "_N='" + std::to_string(LAST) + "'\n";
    config("s.config", initial);

    int barrier[2];
    ASSERT_EQ(pipe(barrier), 0);
    std::vector<pid_t> children;
    for (int w = 0; w < WRITERS; ++w)  // each rewrites its own key, appends keys and stores a list of its own
        children.push_back(spawn(barrier, [w] {
            int torn = 0;
            const std::string list = "L" + KEYS[w];
            for (int round = 0; round < ROUNDS; ++round) {  // each round a request
                conf_forget();
                conf_set(KEYS[w].c_str(), ("v" + std::to_string(round)).c_str(), "s.config");
                if (round % 4 == 0)
                    conf_add(("X" + KEYS[w] + "_" + std::to_string(round)).c_str(), "x", "s.config");
                std::string entries;  // 2 to 6, another length each round
                for (int i = 0; i < 2 + round % 5; ++i)
                    entries += entry(round, i) + " ";
                conf_list_store(list.c_str(), "F", conf_list_count(list.c_str(), "s.config"), entries.c_str(), "s.config");
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

    std::string after = config("s.config");
    for (const std::string& key : KEYS)  // each list holds exactly the entries of its last store, each once
        for (int i = 0; i < LAST; ++i) {
            const std::string item = "L" + key + "_" + std::to_string(i + 1) + "_F=";
            const size_t at = after.find(item + "'" + entry(ROUNDS - 1, i) + "'\n");
            ASSERT_NE(at, std::string::npos) << item;
            after.erase(at, item.size() + entry(ROUNDS - 1, i).size() + 3);
            EXPECT_EQ(after.find(item), std::string::npos);
        }
    EXPECT_EQ(after.substr(0, expected.size()), expected);  // every last rewrite is there
    size_t appended = 0;  // each appended line once, after the settings
    for (const std::string& key : KEYS)
        for (int round = 0; round < ROUNDS; round += 4) {
            const std::string line = "X" + key + "_" + std::to_string(round) + "='x'\n";
            EXPECT_NE(after.find(line, expected.size()), std::string::npos) << line;
            appended += line.size();
        }
    EXPECT_EQ(after.size(), expected.size() + appended);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(root_ + "/tmp/ulsp"),
                            std::filesystem::directory_iterator()), 1);  // no sibling left behind
}
