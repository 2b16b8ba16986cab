#include "sandbox.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

namespace {

void make_dirs(const std::string& path)
{
    for (size_t i = 1; i <= path.size(); ++i)
        if (i == path.size() || path[i] == '/')
            mkdir(path.substr(0, i).c_str(), 0755);
}

std::string parent(const std::string& path) { return path.substr(0, path.rfind('/')); }

void remove_tree(const std::string& path)
{
    std::string cmd = "rm -rf '" + path + "'";
    if (system(cmd.c_str()) != 0) {
    }
}

}  // namespace

std::string read_file(const std::string& path)
{
    std::string out;
    FILE* f = fopen(path.c_str(), "rb");
    if (!f)
        return out;
    char buf[65536];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, f)) > 0)
        out.append(buf, n);
    fclose(f);
    return out;
}

void write_file(const std::string& path, const std::string& content)
{
    make_dirs(parent(path));
    FILE* f = fopen(path.c_str(), "wb");
    if (!f)
        throw std::runtime_error("cannot write " + path);
    fwrite(content.data(), 1, content.size(), f);
    fclose(f);
}

std::vector<std::string> split_lines(const std::string& text)
{
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

namespace {

void list_into(const std::string& dir, const std::string& prefix, std::vector<std::string>& out)
{
    DIR* d = opendir(dir.c_str());
    if (!d)
        return;
    while (dirent* e = readdir(d)) {
        std::string name = e->d_name;
        if (name == "." || name == "..")
            continue;
        out.push_back(prefix + name);
        struct stat st;
        if (lstat((dir + "/" + name).c_str(), &st) == 0 && S_ISDIR(st.st_mode))
            list_into(dir + "/" + name, prefix + name + "/", out);
    }
    closedir(d);
}

}  // namespace

std::vector<std::string> list_tree(const std::string& dir)
{
    std::vector<std::string> out;
    list_into(dir, "", out);
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
        make_dirs(root + dir);
    make_dirs(docroot + "/templates");
    // Stand-ins: sudo runs its command; the file tools are the host's.
    tool("/usr/bin/sudo", "exec \"$@\"");
    for (const char* t : {"mv", "cp", "rm", "chown", "mkdir", "echo", "chmod"})
        tool(std::string("/bin/") + t, std::string("exec /bin/") + t + " \"$@\"");
    tool("/sbin/reboot", "echo reboot >> \"$GWADMIN_ROOT/var/log/reboots\"");
}

Sandbox::~Sandbox() { remove_tree(parent(root)); }

void Sandbox::write(const std::string& p, const std::string& content) const { write_file(root + p, content); }
std::string Sandbox::read(const std::string& p) const { return read_file(root + p); }
bool Sandbox::exists(const std::string& p) const { return access((root + p).c_str(), F_OK) == 0; }
void Sandbox::remove(const std::string& p) const { unlink((root + p).c_str()); }
void Sandbox::write_doc(const std::string& p, const std::string& content) const { write_file(docroot + "/" + p, content); }

void Sandbox::tool(const std::string& p, const std::string& body) const
{
    write(p, "#!/bin/sh\n" + body + "\n");
    chmod((root + p).c_str(), 0755);
}

void Sandbox::defaults() const
{
    std::string cmd = "cp " + std::string(GWADMIN_SOURCE_DIR) + "/sandbox/defaults/*.config '" + root + "/tmp/ulsp/'";
    if (system(cmd.c_str()) != 0)
        throw std::runtime_error("cannot copy the default configuration");
}

std::vector<std::string> Sandbox::commands() const { return split_lines(read("/var/log/commands")); }
std::vector<std::string> Sandbox::messages() const { return split_lines(read("/var/log/messages")); }

CgiResult Sandbox::run(std::map<std::string, std::string> env, const std::string& input,
                       const std::vector<std::string>& args, int timeout_seconds) const
{
    env.emplace("GWADMIN_ROOT", root);
    env.emplace("DOCUMENT_ROOT", docroot);
    env.emplace("PATH", "/usr/bin:/bin");
    std::vector<std::string> env_text;
    for (const auto& kv : env)
        if (!kv.second.empty())
            env_text.push_back(kv.first + "=" + kv.second);

    int in_pipe[2], out_pipe[2], err_pipe[2];
    if (pipe(in_pipe) || pipe(out_pipe) || pipe(err_pipe))
        throw std::runtime_error("pipe failed");
    pid_t pid = fork();
    if (pid == 0) {
        dup2(in_pipe[0], 0);
        dup2(out_pipe[1], 1);
        dup2(err_pipe[1], 2);
        for (int fd : {in_pipe[0], in_pipe[1], out_pipe[0], out_pipe[1], err_pipe[0], err_pipe[1]})
            close(fd);
        std::vector<char*> argv{const_cast<char*>(GWADMIN_EXE)};
        for (const auto& a : args)
            argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        std::vector<char*> envp;
        for (auto& e : env_text)
            envp.push_back(const_cast<char*>(e.c_str()));
        envp.push_back(nullptr);
        execve(GWADMIN_EXE, argv.data(), envp.data());
        _exit(127);
    }
    close(in_pipe[0]);
    close(out_pipe[1]);
    close(err_pipe[1]);
    signal(SIGPIPE, SIG_IGN);
    fcntl(in_pipe[1], F_SETFL, O_NONBLOCK);

    CgiResult result;
    size_t written = 0;
    int in_fd = in_pipe[1];
    if (input.empty()) {
        close(in_fd);
        in_fd = -1;
    }
    bool out_open = true, err_open = true;
    timespec start;
    clock_gettime(CLOCK_MONOTONIC, &start);
    while (out_open || err_open) {
        timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        if (now.tv_sec - start.tv_sec >= timeout_seconds) {
            result.timed_out = true;
            kill(pid, SIGKILL);
            break;
        }
        pollfd fds[3];
        int n = 0;
        if (out_open)
            fds[n++] = {out_pipe[0], POLLIN, 0};
        if (err_open)
            fds[n++] = {err_pipe[0], POLLIN, 0};
        if (in_fd >= 0)
            fds[n++] = {in_fd, POLLOUT, 0};
        poll(fds, nfds_t(n), 200);
        for (int i = 0; i < n; ++i) {
            if (!fds[i].revents)
                continue;
            if (fds[i].fd == in_fd) {
                ssize_t w = ::write(in_fd, input.data() + written, input.size() - written);
                if (w > 0)
                    written += size_t(w);
                if (w < 0 && errno != EAGAIN) {
                    close(in_fd);
                    in_fd = -1;
                } else if (written == input.size()) {
                    close(in_fd);
                    in_fd = -1;
                }
                continue;
            }
            char buf[65536];
            ssize_t r = ::read(fds[i].fd, buf, sizeof buf);
            std::string& sink = fds[i].fd == out_pipe[0] ? result.out : result.err;
            if (r > 0) {
                sink.append(buf, size_t(r));
            } else {
                (fds[i].fd == out_pipe[0] ? out_open : err_open) = false;
            }
        }
    }
    if (in_fd >= 0)
        close(in_fd);
    close(out_pipe[0]);
    close(err_pipe[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

CgiResult Sandbox::get(const std::string& query) const
{
    return run({{"REQUEST_METHOD", "GET"}, {"QUERY_STRING", query}});
}

CgiResult Sandbox::post(const std::string& query, const std::string& body) const
{
    return run({{"REQUEST_METHOD", "POST"},
                {"QUERY_STRING", query},
                {"CONTENT_TYPE", "application/x-www-form-urlencoded"},
                {"CONTENT_LENGTH", std::to_string(body.size())}},
               body);
}

CgiResult Sandbox::post_multipart(const std::string& boundary, const std::string& body) const
{
    return run({{"REQUEST_METHOD", "POST"},
                {"CONTENT_TYPE", "multipart/form-data; boundary=" + boundary},
                {"CONTENT_LENGTH", std::to_string(body.size())}},
               body);
}

std::string multipart_body(const std::string& boundary, const std::vector<Part>& parts)
{
    std::string body;
    for (const Part& p : parts) {
        body += "--" + boundary + "\r\n";
        if (p.is_file) {
            body += "Content-Disposition: form-data; name=\"" + p.name + "\"; filename=\"" + p.filename + "\"\r\n";
            body += "Content-Type: application/octet-stream\r\n\r\n";
        } else {
            body += "Content-Disposition: form-data; name=\"" + p.name + "\"\r\n\r\n";
        }
        body += p.value + "\r\n";
    }
    body += "--" + boundary + "--\r\n";
    return body;
}
