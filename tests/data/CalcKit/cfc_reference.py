#!/usr/bin/python3
"""Reference responses of the CFC filter for tests/CalcKit/CCfcFilterTest.cpp.

Computed independently of the library with scipy.signal.lfilter: the 2-pole Butterworth section
(design constant 25/12) run forward, then backward over the time-reversed forward output, on the
signal padded point-symmetrically with max(100, ceil(rate / 100)) samples at each end (at most
n - 1); each pass starts in the steady state of the mean of its first 10 samples (lfiltic with
past inputs and outputs all equal to that mean); the padding is cropped at the end.
scipy's own filtfilt pads and starts differently, so it is not used.

Run from this folder: ./cfc_reference.py  (writes the cfc_*.csv files beside it).
Each file: a header line, then one sample per line: the input (a float32 value, 9 digits, as
the library reads it), then the response of each class (17 digits).
"""
import math

import numpy as np
from scipy.signal import lfilter, lfiltic

K = 25.0 / 12.0


def coefficients(cfc, rate):
    wa = math.tan(math.pi * K * cfc / rate)
    d = 1.0 + math.sqrt(2.0) * wa + wa * wa
    a0 = wa * wa / d
    b1 = -2.0 * (wa * wa - 1.0) / d
    b2 = (-1.0 + math.sqrt(2.0) * wa - wa * wa) / d
    # lfilter's form: a[0] y[i] = b . x - a[1] y[i-1] - a[2] y[i-2]
    return [a0, 2.0 * a0, a0], [1.0, -b1, -b2]


def one_pass(b, a, x):
    m = np.mean(x[:10])
    zi = lfiltic(b, a, y=[m, m], x=[m, m])
    y, _ = lfilter(b, a, x, zi=zi)
    return y


def cfc_filter(x, cfc, rate):
    n = len(x)
    pad = min(max(100, math.ceil(rate / 100.0)), n - 1)
    head = [2.0 * x[0] - x[k] for k in range(pad, 0, -1)]
    tail = [2.0 * x[n - 1] - x[n - 1 - k] for k in range(1, pad + 1)]
    padded = np.concatenate([head, x, tail])
    b, a = coefficients(cfc, rate)
    forward = one_pass(b, a, padded)
    backward = one_pass(b, a, forward[::-1])[::-1]
    return backward[pad:pad + n]


def crash_pulse(samples, rate, peak_g, pulse_s, tone_hz, tone_g):
    """A half-sine deceleration pulse with a tone on it, rounded to float32 like the library's samples."""
    t = np.arange(samples) / rate
    pulse = np.where(t < pulse_s, peak_g * np.sin(np.pi * t / pulse_s), 0.0)
    return (pulse + tone_g * np.sin(2.0 * np.pi * tone_hz * t)).astype(np.float32).astype(np.float64)


def write(name, x, columns):
    with open(name, "w") as f:
        f.write(",".join(["input"] + [c for c, _ in columns]) + "\n")
        for i in range(len(x)):
            f.write(",".join(["%.9g" % x[i]] + ["%.17g" % y[i] for _, y in columns]) + "\n")


# 30 g over 80 ms with a 1 kHz tone of 5 g, 1000 samples at 10 kHz: 100 samples of padding.
x = crash_pulse(1000, 10000.0, 30.0, 0.08, 1000.0, 5.0)
write("cfc_pulse_10khz.csv", x,
      [("cfc60", cfc_filter(x, 60, 10000.0)), ("cfc180", cfc_filter(x, 180, 10000.0))])
# 600 samples at 20 kHz: 10 ms make 200 samples of padding, more than 100.
x = crash_pulse(600, 20000.0, 30.0, 0.02, 1000.0, 5.0)
write("cfc_pulse_20khz.csv", x,
      [("cfc600", cfc_filter(x, 600, 20000.0)), ("cfc1000", cfc_filter(x, 1000, 20000.0))])
# 40 samples at 10 kHz, fewer than the padding: it shrinks to 39 samples.
x = crash_pulse(40, 10000.0, 30.0, 0.008, 1000.0, 5.0)
write("cfc_short.csv", x, [("cfc180", cfc_filter(x, 180, 10000.0))])
