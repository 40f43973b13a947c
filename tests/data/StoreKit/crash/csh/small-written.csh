CSH 1
Precise Crash Type = Full width rigid barrier
Crash Type = Frontal
Crash Speed Unit = km/h
Comments = "  lab note: \"A\"\nsecond line"
Vehicle Speed = 56
Instrumentation Number = 12
T0 = 1.5
Laboratory = Test Centre 3
Channel = ACU_X
Unit = g
Sampling Rate = 20000
Samples = 4
Defect = wire loose
Defect From = 0
Defect To = 0.15
Channel = ACU_Y
Unit = g
Sampling Rate = 10000
Samples = 3
Data = ACU_X
0
-1.5
22.5
0.1
Data = ACU_Y
1
2
3
