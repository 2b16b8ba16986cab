#include "sandbox.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

std::string read_file(const std::string& path)
{
    std::ostringstream out;
    out << std::ifstream(path, std::ios::binary).rdbuf();
    return out.str();
}

void write_file(const std::string& path, const std::string& content)
{
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream out(path, std::ios::binary);
    if (!(out << content))
        throw std::runtime_error("cannot write " + path);
}

std::vector<std::string> split_lines(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

std::vector<std::string> list_tree(const std::string& dir)
{
    std::vector<std::string> out;
    std::error_code ec;
    for (fs::recursive_directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec))
        out.push_back(it->path().lexically_relative(dir).string());
    std::sort(out.begin(), out.end());
    return out;
}

std::string error_page(const std::string& location, const std::string& error_text)
{
    return "<html><head></head><body>Error <b>" + location + "</b>: <b>" + error_text +
           "</b> <br>Please contact the customer support. </body></html>";
}

Sandbox::Sandbox()
{
    char base[] = "/tmp/gwadmin-e2e-XXXXXX";
    if (!mkdtemp(base))
        throw std::runtime_error("mkdtemp failed");
    root = std::string(base) + "/root";
    docroot = std::string(base) + "/www";
    for (const char* dir : {"/tmp/ulsp", "/tmp/upload", "/etc", "/usr/bin", "/usr/sbin", "/bin", "/sbin"})
        fs::create_directories(root + dir);
    fs::create_directories(docroot + "/templates");  // stand-ins: sudo runs its command; the file tools are the host's
    tool("/usr/bin/sudo", "exec \"$@\"");
    for (std::string t : {"mv", "cp", "rm", "chown", "mkdir", "echo", "chmod"})
        tool("/bin/" + t, "exec /bin/" + t + " \"$@\"");
    tool("/sbin/reboot", "echo reboot >> \"$GWADMIN_ROOT/var/log/reboots\"");
}

Sandbox::~Sandbox()
{
    std::error_code ec;
    fs::remove_all(fs::path(root).parent_path(), ec);
}

void Sandbox::write(const std::string& p, const std::string& content) const { write_file(root + p, content); }
std::string Sandbox::read(const std::string& p) const { return read_file(root + p); }
bool Sandbox::exists(const std::string& p) const { return access((root + p).c_str(), F_OK) == 0; }
void Sandbox::remove(const std::string& p) const { unlink((root + p).c_str()); }
void Sandbox::write_doc(const std::string& p, const std::string& text) const { write_file(docroot + "/" + p, text); }
std::vector<std::string> Sandbox::commands() const { return split_lines(read("/var/log/commands")); }
std::vector<std::string> Sandbox::messages() const { return split_lines(read("/var/log/messages")); }

void Sandbox::tool(const std::string& p, const std::string& body) const
{
    write(p, "#!/bin/sh\n" + body + "\n");
    fs::permissions(root + p, fs::perms(0755));
}

void Sandbox::defaults() const
{
    for (const auto& e : fs::directory_iterator(std::string(GWADMIN_SOURCE_DIR) + "/sandbox/defaults"))
        if (e.path().extension() == ".config")
            fs::copy_file(e.path(), root + "/tmp/ulsp/" + e.path().filename().string(),
                          fs::copy_options::overwrite_existing);
}

namespace {

// The runner's words and the program, read once (before the first fork) and announced when not the build's.
const std::vector<std::string>& program()
{
    static const std::vector<std::string> words = [] {
        std::vector<std::string> w;
        std::string runner = getenv("GWADMIN_TEST_RUNNER") ? getenv("GWADMIN_TEST_RUNNER") : "", word;
        for (std::istringstream words(runner); words >> word;)
            w.push_back(word);
        const char* exe = getenv("GWADMIN_TEST_EXE");
        w.push_back(exe && *exe ? exe : GWADMIN_EXE);
        if (w.size() > 1 || w.back() != GWADMIN_EXE)
            fprintf(stderr, "e2e: gwadmin under test: %s %s\n", runner.c_str(), w.back().c_str());
        return w;
    }();
    return words;
}

std::string slurp(FILE* f)
{
    std::string text = read_file("/proc/self/fd/" + std::to_string(fileno(f)));
    fclose(f);
    return text;
}

}  // namespace

// Input, page and errors go through anonymous files, so nothing blocks on a pipe (but an endless input: the
// test holds none of it when it starts the program, whose peak memory would count it); an alarm set before
// exec kills a run that does not end in time.
CgiResult Sandbox::run(std::map<std::string, std::string> env, const std::string& input,
                       const std::vector<std::string>& args, int timeout_seconds, const std::string& chunk) const
{
    env.emplace("GWADMIN_ROOT", root);
    env.emplace("DOCUMENT_ROOT", docroot);
    env.emplace("PATH", "/usr/bin:/bin");
    std::vector<std::string> env_text, argv_text = program();
    for (const auto& kv : env)
        if (!kv.second.empty())
            env_text.push_back(kv.first + "=" + kv.second);
    argv_text.insert(argv_text.end(), args.begin(), args.end());
    std::vector<char*> envp, argv;
    for (auto& e : env_text)
        envp.push_back(e.data());
    for (auto& a : argv_text)
        argv.push_back(a.data());
    envp.push_back(nullptr);
    argv.push_back(nullptr);

    int pipe_fds[2] = {-1, -1};
    FILE *in = chunk.empty() ? tmpfile() : nullptr, *out = tmpfile(), *err = tmpfile();
    if ((!in && pipe2(pipe_fds, O_CLOEXEC) != 0) || !out || !err)
        throw std::runtime_error("tmpfile failed");
    if (in) {
        fwrite(input.data(), 1, input.size(), in);
        fflush(in);
        rewind(in);
    }
    fflush(stdout);
    pid_t pid = fork();
    if (pid == 0) {
        dup2(in ? fileno(in) : pipe_fds[0], 0);
        dup2(fileno(out), 1);
        dup2(fileno(err), 2);
        alarm(unsigned(timeout_seconds));
        // The program itself by its path; a runner through PATH (execvpe would hand a program of another
        // processor to /bin/sh as a script).
        if (argv_text.size() == args.size() + 1)
            execve(argv[0], argv.data(), envp.data());
        else
            execvpe(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    size_t fed = 0;
    if (!in) {
        close(pipe_fds[0]);
        auto old_handler = signal(SIGPIPE, SIG_IGN);
        for (const std::string* piece = &input; fed < (64u << 20); piece = &chunk) {
            const ssize_t n = ::write(pipe_fds[1], piece->data(), piece->size());
            if (n <= 0)
                break;
            fed += size_t(n);
        }
        close(pipe_fds[1]);
        signal(SIGPIPE, old_handler);
    }
    int status = 0;
    struct rusage usage {};
    wait4(pid, &status, 0, &usage);
    if (in)
        fclose(in);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM,
            slurp(out), slurp(err), usage.ru_maxrss, fed};
}

CgiResult Sandbox::get(const std::string& query) const { return run({{"REQUEST_METHOD", "GET"}, {"QUERY_STRING", query}}); }
CgiResult Sandbox::post(const std::string& query, const std::string& body) const
{
    return run({{"REQUEST_METHOD", "POST"}, {"QUERY_STRING", query}, {"CONTENT_TYPE", "application/x-www-form-urlencoded"},
                {"CONTENT_LENGTH", std::to_string(body.size())}}, body);
}
CgiResult Sandbox::post_multipart(const std::string& boundary, const std::string& body) const
{
    return run({{"REQUEST_METHOD", "POST"}, {"CONTENT_TYPE", "multipart/form-data; boundary=" + boundary},
                {"CONTENT_LENGTH", std::to_string(body.size())}}, body);
}

std::string multipart_body(const std::string& boundary, const std::vector<Part>& parts)
{
    std::string body;
    for (const Part& p : parts) {
        body += "--" + boundary + "\r\nContent-Disposition: form-data; name=\"" + p.name + "\"";
        if (p.is_file)
            body += "; filename=\"" + p.filename + "\"\r\nContent-Type: application/octet-stream";
        body += "\r\n\r\n" + p.value + "\r\n";
    }
    return body + "--" + boundary + "--\r\n";
}
