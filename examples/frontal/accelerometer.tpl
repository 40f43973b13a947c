# A +-100 g accelerometer: its sensitivity and zero-g offset, then its 400 Hz anti-aliasing low pass
# (a 3-pole Bessel, bessel-400hz.flt). The offset is added before the filter, as in the sensor.
# @@ stands for the channel's name.
Parameters List {
    Parameter {
        Name = Sensitivity @@
        Description = Sensitivity relative to nominal
        # A fractional value: a parameter without it holds whole numbers only.
        Float = true
        Default = 1
        Maximum Value = 2
        Minimum Value = 0
    }
    Parameter {
        Name = Offset @@
        Description = Zero-g offset
        Unit = g
        Float = true
        Default = 0
        Maximum Value = 10
        Minimum Value = -10
    }
}
Criteria List {
    Criterion {
        Name = Input
    }
    Criterion {
        Name = Scaled
    }
    Criterion {
        Name = Offset
    }
    Criterion {
        Name = Output
    }
}
Preprocessors List {
    Preprocessor {
        Name = Sensitivity
        Type = Gain
        Mandatory = 1
        Starting Criteria {
            Name = Input
        }
        Final Criteria {
            Name = Scaled
        }
        Parameters List {
            Parameter {
                Name = Sensitivity @@
            }
        }
    }
    Preprocessor {
        Name = Offset
        Type = Offset
        Starting Criteria {
            Name = Scaled
        }
        Final Criteria {
            Name = Offset
        }
        Parameters List {
            Parameter {
                Name = Offset @@
            }
        }
    }
    Preprocessor {
        Name = Anti-aliasing
        Type = Pole Filter
        Filter = bessel-400hz.flt
        Starting Criteria {
            Name = Offset
        }
        Final Criteria {
            Name = Output
        }
        Parameters List {
        }
    }
}
Test {
}
