#!/usr/bin/python3
"""Writes golden.txt: reference values of the cylinder functions J, Y, I, K, H1, H2 of real
order and complex argument, computed with mpmath at 30 significant digits.

Run with Debian's interpreter and python3-mpmath:  /usr/bin/python3 make_golden.py

Every line is
    <fn> <order> <Re z> <Im z> <Re f> <Im f> <E>
where f is the exponentially scaled value
    J, Y: f(z) exp(-|Im z|)    I: f(z) exp(-|Re z|)    K: f(z) exp(z)
    H1:   f(z) exp(-i z)       H2: f(z) exp(i z)
Each value is computed at 30 digits and again at 45; where the two disagree beyond 1e-22
(mpmath's series lose digits to cancellation at some points) the precision is raised until
two successive values agree. E is the size that an error is measured against near a zero of f:
    E = max(|f|, |f'(z)| |scale| min(1, |z| / (|order| + 1))).
Order and argument are written as exact doubles (shortest repr), so the reader parses the very
numbers the references were computed at. Values whose scaled size falls outside
[1e-300, 1e300] are left out (they do not fit a double). The negative real axis is the upper
side of the cut (arg z = pi), as mpmath takes it.
"""
import math
import os
import mpmath as mp

mp.mp.dps = 30

ORDERS = [0.0, 1.0, 2.5, 7.0, 12.3, 20.0, 33.7, 50.0, -3.0, -10.6]
MODULI = [1e-6, 1e-3, 0.08, 0.7, 1.9, 4.5, 11.0, 27.0, 60.0, 150.0, 400.0, 1000.0]
ANGLES = [0.0, 0.45, 'up', 2.2, 'neg', -0.9, -1.9, -2.9]


def argument(r, a):
    if a == 0.0:
        return complex(r, 0.0)
    if a == 'up':
        return complex(0.0, r)
    if a == 'neg':
        return complex(-r, 0.0)
    return complex(r * math.cos(a), r * math.sin(a))


def hankel1(nu, z):
    # J + iY loses everything to cancellation where H1 is exponentially small (Im z > 0);
    # there H1 = 2/(i pi) exp(-i nu pi/2) K(-i z), valid for -pi/2 < arg z <= pi.
    if z.imag < 0 and z.real <= 0:
        return mp.hankel1(nu, z)
    return 2 / (1j * mp.pi) * mp.exp(-0.5j * nu * mp.pi) * mp.besselk(nu, -1j * z)


def hankel2(nu, z):
    # H2 = -2/(i pi) exp(i nu pi/2) K(i z), valid for -pi < arg z <= pi/2.
    if z.imag >= 0 and z.real < 0:
        return mp.hankel2(nu, z)
    return -2 / (1j * mp.pi) * mp.exp(0.5j * nu * mp.pi) * mp.besselk(nu, 1j * z)


FUNCS = {
    'J': mp.besselj, 'Y': mp.bessely, 'I': mp.besseli, 'K': mp.besselk,
    'H1': hankel1, 'H2': hankel2,
}


def scale(fn, z):
    if fn in ('J', 'Y'):
        return mp.exp(-abs(z.imag))
    if fn == 'I':
        return mp.exp(-abs(z.real))
    if fn == 'K':
        return mp.exp(z)
    if fn == 'H1':
        return mp.exp(-1j * z)
    return mp.exp(1j * z)


def derivative(fn, nu, z, f):
    lower = settled(FUNCS[fn], nu - 1, z)
    if fn == 'K':
        return -lower - nu / z * f
    return lower - nu / z * f


def settled(func, nu, z):
    """func(nu, z) at the first working precision from 30 digits up that a higher one confirms."""
    previous = None
    for dps in (30, 45, 60, 90, 135, 200):
        with mp.workdps(dps):
            value = func(nu, z)
        if previous is not None and abs(value - previous) <= 1e-22 * abs(value):
            return value
        previous = value
    raise RuntimeError('no settled value for %s(%r, %r)' % (func.__name__, nu, z))


def main():
    out = []
    for nu in ORDERS:
        for r in MODULI:
            for a in ANGLES:
                zd = argument(r, a)
                z = mp.mpc(zd.real, zd.imag)
                for fn, func in FUNCS.items():
                    f = settled(func, nu, z)
                    s = scale(fn, z)
                    fs = f * s
                    d = abs(derivative(fn, nu, z, f) * s) * min(1.0, r / (abs(nu) + 1.0))
                    e = max(abs(fs), d)
                    if not (1e-300 < abs(fs) < 1e300) or e > 1e300:
                        continue
                    out.append('%s %r %r %r %s %s %s' % (
                        fn, nu, zd.real, zd.imag, mp.nstr(fs.real, 20), mp.nstr(fs.imag, 20),
                        mp.nstr(e, 6)))
    path = os.path.join(os.path.dirname(os.path.abspath(__file__)), 'golden.txt')
    with open(path, 'w') as fh:
        fh.write('\n'.join(out) + '\n')
    print('%d values written to %s' % (len(out), path))


if __name__ == '__main__':
    main()
