// Stands in for Graphviz where there is none: "draws" its arguments and its standard input.
#include <cstdio>

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        std::puts(argv[i]);
    }
    for (int c = std::getchar(); c != EOF; c = std::getchar()) {
        std::putchar(c);
    }
}
