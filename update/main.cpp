// The qzupdate command: everything happens in UpdateMain.

#include "update/update.h"

int main(int argc, char** argv) { UpdateMain(argc, argv); }
