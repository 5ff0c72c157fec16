// Becomes root for good (installed set-user-ID by the test), says so, and waits to be ended.

#include <cstdio>
#include <unistd.h>

int main(int argc, char** argv)
{
    if (argc != 2 || setresuid(0, 0, 0) != 0)
        return 1;
    FILE* file = fopen(argv[1], "w");
    if (!file)
        return 1;
    fprintf(file, "%d\n", int(getpid()));
    fclose(file);
    alarm(60);
    pause();
    return 0;
}
