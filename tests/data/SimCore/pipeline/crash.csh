CSH 1
# A short frontal pulse at 10 kHz on both axes of the central unit.
Crash Type = Frontal
Vehicle Speed = 56

Channel = ACU_X
Unit = g
Sampling Rate = 10000
Samples = 6
Channel = ACU_Y
Unit = g
Sampling Rate = 10000
Samples = 6
Data = ACU_X
0
-2
-8
-20
-12
-4
Data = ACU_Y
0
1
3
70
-2
0
