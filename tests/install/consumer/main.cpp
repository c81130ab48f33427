#include <kx/kxcore.h>
#include <cstdio>
int main() { std::puts(numtoA(10.0 / 3)); return 0; }
