#include <cstdio>
#include <kx/kxcore.h>
int main()
{
    std::puts(numtoA(10.0 / 3));
    return 0;
}
