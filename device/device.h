// The one seam between gwadmin and the router: device paths, commands and
// syslog records all pass through here.
//
// Device build (GWADMIN_DEVICE): paths as written, commands run as written,
// records go to syslog(3).
// Sandbox build (default): paths live under $GWADMIN_ROOT, every command is
// appended to $GWADMIN_ROOT/var/log/commands and run against the stand-in
// tools under $GWADMIN_ROOT, records are appended to
// $GWADMIN_ROOT/var/log/messages as "<level> <text>".
#pragma once

#include <cstdio>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>

// Checks the build mode's preconditions. In the sandbox build a missing or
// relative GWADMIN_ROOT writes one line to stderr and returns -1.
int dev_init();

// The file the program uses for a device path such as "/tmp/ulsp/x.config".
std::string dev_path(const char* device_path);

FILE* dev_fopen(const char* device_path, const char* mode);
// open(2) of a device path (flags without O_CREAT).
int dev_open(const char* device_path, int flags);
// Creates or empties a file to write ("w") or to write and read back ("w+"),
// with the permission bits fopen would give, without ever writing through
// what another process put at the path: a symbolic link in its last part, a
// file that is not a plain file, not the program's own or with more than one
// name (a hard link) is refused (none, errno ELOOP for a link, else EPERM) and
// removed where the folder allows it, so that no command that follows acts
// through it either.
FILE* dev_create(const char* device_path, const char* mode);
int dev_stat(const char* device_path, struct stat* st);
int dev_mkdir(const char* device_path, mode_t mode);
int dev_chdir(const char* device_path);
int dev_unlink(const char* device_path);

// Sets the function called before every command runs (the settings store
// writes its changes back and reads files afresh afterwards, since a command
// may read or change them).
void dev_before_command(void (*hook)());

// Runs a command through the shell; the status is what system(3) returns.
int dev_system(const char* command);
// popen(3)/pclose(3) for a command.
FILE* dev_popen(const char* command, const char* mode);
int dev_pclose(FILE* pipe);

// One syslog record at the given level.
void dev_syslog(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));

// The text as one single-quoted shell word: the shell hands it to the tool
// byte for byte, whatever it contains. The empty text gives the empty text,
// so a tool receives exactly the words it would without quoting.
std::string sh_quote(const char* text);

// The command text the sandbox hands to /bin/sh: every blank-separated word
// that starts with a device folder gets the sandbox root in front of it.
std::string dev_sandbox_command(const char* command, const std::string& root);
