#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
    if (argc >= 2 && std::strcmp(argv[1], "--version") == 0) {
        std::printf("kelvane 0.1.0\n");
        return 0;
    }
    return 0;
}
