#pragma once

// One request from start to end; returns the process's exit status.
int gwadmin_main(int argc, char** argv);
