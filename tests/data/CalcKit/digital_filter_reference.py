#!/usr/bin/python3
# Writes digital_filter_reference.csv: the input of CDigitalFilterTest and the outputs of its two-block
# filter as scipy.signal.lfilter computes them (Debian's python3-scipy), in cascade and in parallel.
# The input is rounded to float first, as the preprocessor receives it.
import numpy as np
from scipy.signal import lfilter

rate = 10000.0
n = np.arange(400)
t = n / rate
pulse = np.where(t < 0.03, -30.0 * np.sin(np.pi * t / 0.03), 0.0)
x = (pulse + 2.0 * np.sin(2 * np.pi * 1000.0 * t)).astype(np.float32).astype(np.float64)

# Block 1: a second order low pass (IIR, A0 not 1 on purpose); block 2: a 3-tap FIR.
a1, b1 = [2.0, -2.6, 0.98], [0.09, 0.18, 0.09]
a2, b2 = [1.0], [0.25, 0.5, 0.25]

cascade = lfilter(b2, a2, lfilter(b1, a1, x))
parallel = lfilter(b1, a1, x) + lfilter(b2, a2, x)

with open("digital_filter_reference.csv", "w") as out:
    out.write("input,cascade,parallel\n")
    for row in zip(x, cascade, parallel):
        out.write(",".join("%.17g" % v for v in row) + "\n")
