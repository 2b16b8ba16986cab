// A fresh sandbox root and document root per test, for tests that run the program's functions in-process.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <unistd.h>

#include "cgi/http.h"
#include "conf/conf.h"
#include "device/device.h"
#include "render/aux.h"
#include "render/tmpl.h"

// The page printed for a failure at loc ("in file conf line 36") with the text of err.
inline std::string error_page(const std::string& loc, int err)
{
    return "<html><head></head><body>Error <b>" + loc + "</b>: <b>" + strerror(err) +
           "</b> <br>Please contact the customer support. </body></html>";
}

class SandboxTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        char dir[] = "/tmp/gwunit-XXXXXX";
        ASSERT_NE(mkdtemp(dir), nullptr);
        base_ = dir, root_ = base_ + "/root";
        for (const std::string& dir : {root_ + "/tmp/ulsp", root_ + "/tmp/upload", base_ + "/www/english"})
            std::filesystem::create_directories(dir);
        for (const char* name : {"QUERY_STRING", "REQUEST_METHOD", "CONTENT_LENGTH", "CONTENT_TYPE"})
            unsetenv(name);
        setenv("GWADMIN_ROOT", root_.c_str(), 1);
        ASSERT_EQ(dev_init(), 0);
        std::filesystem::current_path(base_ + "/www");
        g_request = RequestState{};
        conf_forget(), aux_forget();
    }
    void TearDown() override
    {
        conf_forget(), tmpl_free(), http_free(), http_set_input(nullptr);
        std::filesystem::current_path(old_cwd_);
        std::filesystem::remove_all(base_);
    }

    static std::string slurp(const std::string& path)
    {
        std::ifstream in(path, std::ios::binary);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }
    static void spit(const std::string& path, const std::string& text)
    {
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path, std::ios::binary) << text;
    }
    // A configuration file of the store: writing one drops what the store read; reading one writes its changes.
    void config(const char* name, const std::string& text) { conf_forget(), spit(root_ + "/tmp/ulsp/" + name, text); }
    std::string config(const char* name) { return conf_flush(), slurp(root_ + "/tmp/ulsp/" + name); }
    // The page text, as a template would have loaded it.
    void page(const std::string& text)
    {
        spit(base_ + "/www/page.tmpl", text);
        ASSERT_EQ(tmpl_load("page.tmpl"), 0);
    }
    std::string page() { return tmpl_page() ? tmpl_page() : ""; }
    // Request variables, as a query string brings them.
    void request(const char* query)
    {
        setenv("QUERY_STRING", query, 1);
        unsetenv("REQUEST_METHOD"), unsetenv("CONTENT_TYPE");
        http_parse(0, nullptr);
    }
    void messages(const std::string& text) { aux_forget(), spit(base_ + "/www/english/messages", text); }
    std::string commands() { return slurp(root_ + "/var/log/commands"); }
    std::string records() { return slurp(root_ + "/var/log/messages"); }
    // The call prints the error page of loc with the text of err and records it, after the records given, on a
    // fresh log.
    void expect_report(const std::function<void()>& call, const char* loc, int err, const std::string& before = "")
    {
        std::filesystem::remove(root_ + "/var/log/messages");
        testing::internal::CaptureStdout();
        call();
        EXPECT_EQ(testing::internal::GetCapturedStdout(), error_page(loc, err));
        EXPECT_EQ(records(), before + "3 Error " + loc + ": " + strerror(err) + "\n");
    }

    std::string base_, root_;
    std::filesystem::path old_cwd_ = std::filesystem::current_path();
};
