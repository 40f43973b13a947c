# The chain of an accelerometer channel; @@ stands for the channel's name.
Parameters List {
    Parameter {
        Name = Sensitivity @@
        Default = 1
        Maximum Value = 10
        Minimum Value = 0
    }
    Parameter {
        Name = Offset @@
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
            Name = Output
        }
        Parameters List {
            Parameter {
                Name = Offset @@
            }
        }
    }
}
Test {
}
