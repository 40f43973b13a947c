# The recordings are the central unit's own accelerations (the unit sits on the tunnel), so the
# vehicle's transfer to the unit's mounting point is a plain pass-through on both axes.
Name = Frontal Vehicle
Parameters List {
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
        Name = Mounting X
        Type = Gain
        Starting Criteria {
            Name = ACU_X
        }
        Final Criteria {
            Name = ACU_X Output
        }
        Parameters List {
            Parameter {
                Value = 1
            }
        }
    }
    Preprocessor {
        Name = Mounting Y
        Type = Gain
        Starting Criteria {
            Name = ACU_Y
        }
        Final Criteria {
            Name = ACU_Y Output
        }
        Parameters List {
            Parameter {
                Value = 1
            }
        }
    }
}
Tests List {
}
