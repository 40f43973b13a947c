CSH 1
Precise Crash Type = RIGID BARRIER
Crash Type = FULL FRONTAL
Test Reference = CLN-2023-017
Vehicle Code = Compact car A
Side Of Impact = FR
Crash Speed Unit = m/s
Comments = Full frontal 56 km/h rigid barrier
Crash Speed = 15.56
Vehicle Mass = 1320.5
Vehicle Speed = 15.56
T0 = 0.3
Data format edition number = 1.6
Laboratory name = Crash Lab North
Laboratory test ref. number = CLN-2023-017
Customer name = 
Title = Full frontal 56 km/h rigid barrier
Timestamp = 2023-05-17 10:42:07
Type of the test = FULL FRONTAL
Subtype of the test = RIGID BARRIER
Regulation = ECE R94
Date of the test = 2023-05-17
Comments = ECU on the tunnel – 10 ms pre-trigger
Comments = Dummy: Hybrid III, seat position café
Number of test objects = 1
Name of test object 1 = Compact car A
Velocity test object 1 = 15.56
Mass test object 1 = 1320.5
Impact side test object 1 = FR
Type of test object 1 = 
Channel = 10TUNN000000ACXP
Unit = m/(s*s)
Sampling Rate = 10000
Samples = 6
Channel = 10TUNN000000ACYP
Unit = g
Sampling Rate = 10000
Samples = 4
Channel = 10BPILLE0000ACYP
Unit = 
Sampling Rate = 2000
Samples = 3
Data = 10TUNN000000ACXP
0
-1.25
2.5
-37.5
0.01
4
Data = 10TUNN000000ACYP
0
0.125
-0.5
1.5
Data = 10BPILLE0000ACYP
1
0
3
