# The body's transfer to the unit's mounting point: one gain per axis.
Name = Pipeline Vehicle
Parameters List {
    Parameter {
        Name = Body Gain
        Default = 1
        Maximum Value = 10
        Minimum Value = 0
    }
}
Criteria List {
    Criterion {
        Name = ACU_X
    }
    Criterion {
        Name = ACU_X Output
    }
    Criterion {
        Name = ACU_Y
    }
    Criterion {
        Name = ACU_Y Output
    }
}
Preprocessors List {
    Preprocessor {
        Name = Body X
        Type = Gain
        Starting Criteria {
            Name = ACU_X
        }
        Final Criteria {
            Name = ACU_X Output
        }
        Parameters List {
            Parameter {
                Name = Body Gain
            }
        }
    }
    Preprocessor {
        Name = Body Y
        Type = Gain
        Starting Criteria {
            Name = ACU_Y
        }
        Final Criteria {
            Name = ACU_Y Output
        }
        Parameters List {
            Parameter {
                Name = Body Gain
            }
        }
    }
}
Tests List {
}
