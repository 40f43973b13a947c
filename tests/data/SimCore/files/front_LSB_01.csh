CSH 1
# 8 Hz channels, so that every sample time is exact in single precision
Crash Type = Frontal
Vehicle Speed = 56
Instrumentation Number = 12

Channel = ACU_X
Unit = g
Sampling Rate = 8
Samples = 5
Defect = wire loose
Defect From = 125
Defect To = 500
Defect = " "
Defect From = 0
Defect To = 125
Defect = unknown start
Defect From = -1
Defect To = 250
Channel = ACU_Y
Unit = g
Sampling Rate = 4
Samples = 2
Data = ACU_X
0
1
2
3
4
Data = ACU_Y
5
6
