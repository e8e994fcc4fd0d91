// The editor itself, up to its first painted window.

#include "app/startup.h"

int main(int argc, char** argv)
{
    return runVela(argc, argv);
}
