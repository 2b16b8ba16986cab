/* The floor of a request: the least a CGI program can do to answer one.
 * It enters the document root, reads one template (FLOOR_TEMPLATE, relative
 * to the document root; english/intro.tmpl when unset) and writes it to
 * standard output. The benchmark builds it statically linked, so its cost is
 * the cost of starting a process, opening a file and copying it out. */
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

int main(void)
{
    const char* root = getenv("DOCUMENT_ROOT");
    if (root && chdir(root) != 0)
        return 1;
    const char* name = getenv("FLOOR_TEMPLATE");
    int fd = open(name && *name ? name : "english/intro.tmpl", O_RDONLY);
    if (fd < 0)
        return 1;
    static char buf[65536];
    ssize_t n;
    while ((n = read(fd, buf, sizeof buf)) > 0) {
        for (ssize_t done = 0; done < n;) {
            ssize_t w = write(1, buf + done, (size_t)(n - done));
            if (w <= 0)
                return 1;
            done += w;
        }
    }
    close(fd);
    return n < 0;
}
