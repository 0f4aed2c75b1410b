/* SPDX-License-Identifier: MIT */
/* tracer PID: keeps a process from ending when it is killed, as one does that hangs in the kernel, until standard input
   ends. */
#include <stdio.h>
#include <stdlib.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

int main(int count, char** arguments) {
    const pid_t process = count == 2 ? (pid_t)atoi(arguments[1]) : 0;
    char byte;
    if (process <= 0 || ptrace(PTRACE_SEIZE, process, NULL, (void*)PTRACE_O_TRACEEXIT) != 0) {
        perror("tracer");
        return 1;
    }
    while (read(STDIN_FILENO, &byte, 1) > 0) {
    }
    return 0; /* what it traced goes on, and ends */
}
