// End-to-end harness: a fresh sandbox folder (the device's "/") and document root per test, and the real
// gwadmin run in it as a CGI process. The program is the build's gwadmin, or the one GWADMIN_TEST_EXE names (a
// gwadmin built for another processor), started directly or under the command in GWADMIN_TEST_RUNNER, split at
// blanks and found through PATH (an emulator: "qemu-arm -L /usr/arm-linux-gnueabihf").
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

struct CgiResult {
    int status = -1;      // exit status, or -1 when killed or not exited
    bool timed_out = false;
    std::string out;      // standard output: the page
    std::string err;      // standard error
    long max_rss_kb = 0;  // the program's peak memory (resident, KiB)
    size_t fed = 0;       // of an endless input: the bytes the program took
};

class Sandbox {
public:
    Sandbox();   // makes the folders and the stand-in tools
    ~Sandbox();  // removes everything
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;

    std::string root;     // GWADMIN_ROOT
    std::string docroot;  // DOCUMENT_ROOT

    // Files under the sandbox root, named by their device path ("/tmp/ulsp/x").
    void write(const std::string& device_path, const std::string& content) const;
    std::string read(const std::string& device_path) const;
    bool exists(const std::string& device_path) const;
    void remove(const std::string& device_path) const;
    // An executable stand-in tool at a device path; body is a /bin/sh script body.
    void tool(const std::string& device_path, const std::string& body) const;
    void write_doc(const std::string& path, const std::string& content) const;  // under the document root
    void defaults() const;  // the factory-default configuration files (sandbox/defaults) into /tmp/ulsp/
    // A configuration file of /tmp/ulsp/, whole.
    std::string config(const std::string& name) const { return read("/tmp/ulsp/" + name); }
    void config(const std::string& name, const std::string& content) const { write("/tmp/ulsp/" + name, content); }
    std::vector<std::string> commands() const;  // lines of var/log/commands
    std::vector<std::string> messages() const;  // lines of var/log/messages

    // Runs gwadmin with the CGI environment (GWADMIN_ROOT, DOCUMENT_ROOT and PATH added unless named; an empty value
    // removes the variable) and arguments given. With a chunk the input never ends: through a pipe, the input,
    // then the chunk again and again until the program closes it (or 64 MiB went in).
    CgiResult run(std::map<std::string, std::string> env, const std::string& input = "",
                  const std::vector<std::string>& args = {}, int timeout_seconds = 20,
                  const std::string& chunk = "") const;
    CgiResult get(const std::string& query) const;
    CgiResult post(const std::string& query, const std::string& body) const;
    CgiResult post_multipart(const std::string& boundary, const std::string& body) const;
};

// A multipart/form-data body as browsers send it.
struct Part {
    std::string name;
    std::string value;     // the field's value, or the file's content
    std::string filename;  // set for a file part
    bool is_file = false;
};
std::string multipart_body(const std::string& boundary, const std::vector<Part>& parts);

// Whole-file helpers for host paths.
std::string read_file(const std::string& path);
void write_file(const std::string& path, const std::string& content);
std::vector<std::string> split_lines(const std::string& text);
std::vector<std::string> list_tree(const std::string& dir);  // every path below dir, relative, sorted

// The page gwadmin prints for a failure, e.g. ("in file tmpl line 25", "No such file or directory").
std::string error_page(const std::string& location, const std::string& error_text);
