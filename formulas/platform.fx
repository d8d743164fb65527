# Indicators in everyday use on the Chinese charting platforms that the engine's
# built-in operations do not provide, written as the platforms commonly define them.
# Each entry names the public source of its definition; where versions differ,
# a note says which one was followed.

# source: J. Welles Wilder, New Concepts in Technical Trading Systems (1978), true range; averaged as in the charting platforms' standard ATR formula
# note: the platforms average the true range with a simple MA, not Wilder's smoothing; the simple MA was followed
FORMULA ATR "Average true range (真实波幅): MTR = MAX(H-L, |C1-H|, |C1-L|); ATR = MA(MTR, N)"
PARAM N 14 1 250
MTR:MAX(MAX(HIGH-LOW,ABS(REF(CLOSE,1)-HIGH)),ABS(REF(CLOSE,1)-LOW));
ATR:MA(MTR,N);
END

# source: standard formula of the Chinese charting platforms (bull and bear index), as published in Chinese technical-analysis handbooks
FORMULA BBI "Bull and bear index (多空指标): mean of the four moving averages MA(C,M1), MA(C,M2), MA(C,M3), MA(C,M4)" OVERLAY
PARAM M1 3 1 250
PARAM M2 6 1 250
PARAM M3 12 1 250
PARAM M4 24 1 250
BBI:(MA(CLOSE,M1)+MA(CLOSE,M2)+MA(CLOSE,M3)+MA(CLOSE,M4))/4;
END

# source: standard formula of the Chinese charting platforms (BBI Bollinger bands), as published in Chinese technical-analysis handbooks
FORMULA BBIBOLL "BBI Bollinger bands (多空布林线): BBI of MA 3/6/12/24; UPR/DWN = BBI +/- M * sample STD(BBI, N)" OVERLAY
PARAM N 11 2 250
PARAM M 6 1 20
BBIBOLL:(MA(CLOSE,3)+MA(CLOSE,6)+MA(CLOSE,12)+MA(CLOSE,24))/4;
UPR:BBIBOLL+M*STD(BBIBOLL,N);
DWN:BBIBOLL-M*STD(BBIBOLL,N);
END

# source: Steven B. Achelis, Technical Analysis from A to Z (detrended price oscillator); lagged form of the charting platforms' standard DPO formula
# note: the original centres the average N/2+1 bars back (look-ahead); the platforms subtract the average of N/2+1 bars ago, which was followed; the shift is INTPART(N/2)+1 so that odd N stays whole
FORMULA DPO "Detrended price oscillator (区间震荡线): DPO = C - REF(MA(C,N), INTPART(N/2)+1); MADPO = MA(DPO, M)"
PARAM N 20 1 250
PARAM M 6 1 250
DPO:CLOSE-REF(MA(CLOSE,N),INTPART(N/2)+1);
MADPO:MA(DPO,M);
END

# source: Gene Quong and Avrum Soudack, "Money Flow Index", Technical Analysis of Stocks & Commodities (1989); as in the charting platforms' standard MFI formula
# note: 100-100/(1+PMF/NMF) rewritten as 100*PMF/(PMF+NMF) (same value, defined when NMF = 0); 50 where both flows are 0 over the window
FORMULA MFI "Money flow index (资金流量指标): TYP=(H+L+C)/3; 100*PMF/(PMF+NMF), PMF/NMF = N-bar sums of TYP*V on bars where TYP rose/fell"
PARAM N 14 1 250
TYP:=(HIGH+LOW+CLOSE)/3;
PMF:=SUM(IF(TYP>REF(TYP,1),TYP*VOL,0),N);
NMF:=SUM(IF(TYP<REF(TYP,1),TYP*VOL,0),N);
MFI:IF(PMF+NMF=0,50,100*PMF/(PMF+NMF));
END

# source: standard formula of the Chinese charting platforms (envelope of a moving average), as published in Chinese technical-analysis handbooks
FORMULA ENE "Envelope (轨道线): UPPER = (1+M1/100)*MA(C,N); LOWER = (1-M2/100)*MA(C,N); ENE = (UPPER+LOWER)/2" OVERLAY
PARAM N 10 1 250
PARAM M1 11 0 100
PARAM M2 9 0 100
UPPER:(1+M1/100)*MA(CLOSE,N);
LOWER:(1-M2/100)*MA(CLOSE,N);
ENE:(UPPER+LOWER)/2;
END

# source: Chester Keltner, How to Make Money in Commodities (1960), with the ATR bands of Linda Bradford Raschke; as in the charting platforms' standard KTN formula
# note: the platforms' version was followed: EMA of the typical price as middle line, bands at 2 times the simple-MA ATR of M bars
FORMULA KTN "Keltner channel (肯特纳交易通道): MID = EMA((H+L+C)/3, N); UPPER/LOWER = MID +/- 2*MA(true range, M)" OVERLAY
PARAM N 20 1 250
PARAM M 10 1 250
MID:EMA((HIGH+LOW+CLOSE)/3,N);
ATRN:=MA(MAX(MAX(HIGH-LOW,ABS(REF(CLOSE,1)-HIGH)),ABS(REF(CLOSE,1)-LOW)),M);
UPPER:MID+2*ATRN;
LOWER:MID-2*ATRN;
END

# source: Steven B. Achelis, Technical Analysis from A to Z (volume-price trend); windowed as in the charting platforms' standard VPT formula
# note: the platforms sum over the last N bars (default 51); N = 0 gives the cumulative sum of the original definition
FORMULA VPT "Volume-price trend (量价曲线): VPT = SUM(V*(C-C1)/C1, N) (N=0: since the first bar); MAVPT = MA(VPT, M)"
PARAM N 51 0 500
PARAM M 6 1 250
VPT:SUM(VOL*(CLOSE-REF(CLOSE,1))/REF(CLOSE,1),N);
MAVPT:MA(VPT,M);
END

# source: George C. Lane's slow stochastic, as in the charting platforms' standard SKDJ formula
FORMULA SKDJ "Slow stochastic (慢速随机指标): RSV = EMA((C-LLV(L,N))/(HHV(H,N)-LLV(L,N))*100, M); K = EMA(RSV, M); D = MA(K, M)"
PARAM N 9 1 250
PARAM M 3 1 250
LOWV:=LLV(LOW,N);
HIGHV:=HHV(HIGH,N);
RSV:=EMA((CLOSE-LOWV)/(HIGHV-LOWV)*100,M);
K:EMA(RSV,M);
D:MA(K,M);
END

# source: Larry Williams, "The Ultimate Oscillator", Technical Analysis of Stocks & Commodities (1985); as in the charting platforms' standard UOS formula
# note: the platforms weight the three buying-pressure ratios by N2*N3, N1*N3, N1*N2 (4:2:1 at the defaults, as Williams) and add MAUOS = EMA(UOS, M)
FORMULA UOS "Ultimate oscillator (终极指标): ratios SUM(C-TL)/SUM(TH-TL) over N1, N2, N3, TH/TL = MAX(H,C1)/MIN(L,C1), weighted N2*N3 : N1*N3 : N1*N2 (4:2:1 at the defaults), percent; MAUOS = EMA(UOS, M)"
PARAM N1 7 1 250
PARAM N2 14 1 250
PARAM N3 28 1 250
PARAM M 6 1 250
TH:=MAX(HIGH,REF(CLOSE,1));
TL:=MIN(LOW,REF(CLOSE,1));
ACC1:=SUM(CLOSE-TL,N1)/SUM(TH-TL,N1);
ACC2:=SUM(CLOSE-TL,N2)/SUM(TH-TL,N2);
ACC3:=SUM(CLOSE-TL,N3)/SUM(TH-TL,N3);
UOS:(ACC1*N2*N3+ACC2*N1*N3+ACC3*N1*N2)*100/(N1*N2+N1*N3+N2*N3);
MAUOS:EMA(UOS,M);
END

# source: standard formula of the Chinese charting platforms (dynamic buying and selling momentum), as published in Chinese technical-analysis handbooks
FORMULA ADTM "Dynamic momentum (动态买卖气指标): DTM/DBM from the open's rise/fall vs O1; STM/SBM = N-bar sums; ADTM = (STM-SBM)/larger of the two; MAADTM = MA(ADTM, M)"
PARAM N 23 1 250
PARAM M 8 1 250
DTM:=IF(OPEN<=REF(OPEN,1),0,MAX(HIGH-OPEN,OPEN-REF(OPEN,1)));
DBM:=IF(OPEN>=REF(OPEN,1),0,MAX(OPEN-LOW,OPEN-REF(OPEN,1)));
STM:=SUM(DTM,N);
SBM:=SUM(DBM,N);
ADTM:IF(STM>SBM,(STM-SBM)/STM,IF(STM=SBM,0,(STM-SBM)/SBM));
MAADTM:MA(ADTM,M);
END

# source: standard formula of the Chinese charting platforms (long-short line), as published in Chinese technical-analysis handbooks
# note: the platforms write the 20-term weighted sum (20*MID + 19*REF(MID,1) + ... + REF(MID,19))/210 out in full; it is exactly WMA(MID, 20)
FORMULA DKX "Long-short line (多空线): MID = (3C+L+O+H)/6; DKX = WMA(MID, 20), newest weight 20; MADKX = MA(DKX, M)" OVERLAY
PARAM M 10 1 250
MID:=(3*CLOSE+LOW+OPEN+HIGH)/6;
DKX:WMA(MID,20);
MADKX:MA(DKX,M);
END

# source: standard formula of the Chinese charting platforms (bias convergence-divergence), as published in Chinese technical-analysis handbooks
# note: most versions take the bias as a ratio (some multiply it by 100); the ratio was followed; the signal line MM has the fixed window 5
FORMULA DBCD "Bias convergence-divergence (异同离差乖离率): B = (C-MA(C,N))/MA(C,N); DBCD = SMA(B - REF(B,M), T, 1); MM = MA(DBCD, 5)"
PARAM N 5 1 250
PARAM M 16 1 250
PARAM T 17 1 250
BIASV:=(CLOSE-MA(CLOSE,N))/MA(CLOSE,N);
DIF:=BIASV-REF(BIASV,M);
DBCD:SMA(DIF,T,1);
MM:MA(DBCD,5);
END

# source: standard formula of the Chinese charting platforms (contrarian operation levels), as published in Chinese technical-analysis handbooks
# note: the platforms use the pivot (H1+L1+C1)/3 and third-level bands; older textbooks use (H1+L1+2*C1)/4 with AH/AL = CDP +/- (H1-L1); the platforms' version was followed
FORMULA CDP "Contrarian levels (逆势操作): from the previous bar, CDP = (H1+L1+C1)/3; AH = 2CDP+H1-2L1; NH = 2CDP-L1; NL = 2CDP-H1; AL = 2CDP-2H1+L1" OVERLAY
CH:=REF(HIGH,1);
CL:=REF(LOW,1);
CC:=REF(CLOSE,1);
CDP:(CH+CL+CC)/3;
AH:2*CDP+CH-2*CL;
NH:CDP+CDP-CL;
NL:CDP+CDP-CH;
AL:2*CDP-2*CH+CL;
END

# source: standard formula of the Chinese charting platforms (waterfall lines), as published in Chinese technical-analysis handbooks
FORMULA PBX "Waterfall lines (瀑布线): PBXk = (EMA(C,Mk) + MA(C,2*Mk) + MA(C,4*Mk))/3 for six periods Mk" OVERLAY
PARAM M1 4 1 120
PARAM M2 6 1 120
PARAM M3 9 1 120
PARAM M4 13 1 120
PARAM M5 18 1 120
PARAM M6 24 1 120
PBX1:(EMA(CLOSE,M1)+MA(CLOSE,M1*2)+MA(CLOSE,M1*4))/3;
PBX2:(EMA(CLOSE,M2)+MA(CLOSE,M2*2)+MA(CLOSE,M2*4))/3;
PBX3:(EMA(CLOSE,M3)+MA(CLOSE,M3*2)+MA(CLOSE,M3*4))/3;
PBX4:(EMA(CLOSE,M4)+MA(CLOSE,M4*2)+MA(CLOSE,M4*4))/3;
PBX5:(EMA(CLOSE,M5)+MA(CLOSE,M5*2)+MA(CLOSE,M5*4))/3;
PBX6:(EMA(CLOSE,M6)+MA(CLOSE,M6*2)+MA(CLOSE,M6*4))/3;
END

# source: standard formula of the Chinese charting platforms (Xue Si channel), as published in Chinese technical-analysis handbooks
FORMULA XS "Xue Si channel (薛斯通道): short band 1.06/0.94 x EMA(mean of 3/6/12/24-bar volume-weighted EMA prices, N); long band EMA(EMA(C,9)*1.14/0.86, 5)" OVERLAY
PARAM N 13 1 250
VAR2:=CLOSE*VOL;
VAR3:=EMA((EMA(VAR2,3)/EMA(VOL,3)+EMA(VAR2,6)/EMA(VOL,6)+EMA(VAR2,12)/EMA(VOL,12)+EMA(VAR2,24)/EMA(VOL,24))/4,N);
SUP:1.06*VAR3;
SDN:VAR3*0.94;
VAR4:=EMA(CLOSE,9);
LUP:EMA(VAR4*1.14,5);
LDN:EMA(VAR4*0.86,5);
END

# source: Paul Dysart; Norman G. Fosback, Stock Market Logic (1976), negative volume index; base 100 and average of 72 bars as in the Chinese technical-analysis handbooks
# note: most sources compound the changes (NVI = NVI1*C/C1), a few add the percent changes up; compounding was followed, from 100, as 100*EXP(running sum of LN(C/C1))
FORMULA NVI "Negative volume index (负成交量指标): starts at 100, multiplied by C/C1 on each bar whose volume fell, unchanged on the others; NVIMA = MA(NVI, M)"
PARAM M 72 1 250
NVI:100*EXP(SUM(IF(VOL<REF(VOL,1) AND CLOSE>0 AND REF(CLOSE,1)>0,LN(CLOSE/REF(CLOSE,1)),0),0));
NVIMA:MA(NVI,M);
END

# source: Paul Dysart; Norman G. Fosback, Stock Market Logic (1976), positive volume index; base 100 and average of 72 bars as in the Chinese technical-analysis handbooks
# note: most sources compound the changes (PVI = PVI1*C/C1), a few add the percent changes up; compounding was followed, from 100, as 100*EXP(running sum of LN(C/C1))
FORMULA PVI "Positive volume index (正成交量指标): starts at 100, multiplied by C/C1 on each bar whose volume rose, unchanged on the others; PVIMA = MA(PVI, M)"
PARAM M 72 1 250
PVI:100*EXP(SUM(IF(VOL>REF(VOL,1) AND CLOSE>0 AND REF(CLOSE,1)>0,LN(CLOSE/REF(CLOSE,1)),0),0));
PVIMA:MA(PVI,M);
END

# source: standard formula of the Chinese charting platforms (MACD of volume), as published in Chinese technical-analysis handbooks
FORMULA VMACD "Volume MACD (量平滑异同平均): DIF = EMA(V,SHORT) - EMA(V,LONG); DEA = EMA(DIF, MID); MACD = DIF - DEA"
PARAM SHORT 12 1 250
PARAM LONG 26 1 250
PARAM MID 9 1 250
DIF:EMA(VOL,SHORT)-EMA(VOL,LONG);
DEA:EMA(DIF,MID);
MACD:DIF-DEA,COLORSTICK;
END

# source: standard formula of the Chinese charting platforms (relative strength of volume), as published in Chinese technical-analysis handbooks
# note: older versions draw one line (N = 6); the current three-line version was followed
FORMULA VRSI "Volume RSI (相对强弱量指标): VRSIk = SMA(MAX(V-V1,0), Nk, 1) / SMA(|V-V1|, Nk, 1) * 100 for Nk = N1, N2, N3"
PARAM N1 6 1 250
PARAM N2 12 1 250
PARAM N3 24 1 250
LC:=REF(VOL,1);
VRSI1:SMA(MAX(VOL-LC,0),N1,1)/SMA(ABS(VOL-LC),N1,1)*100;
VRSI2:SMA(MAX(VOL-LC,0),N2,1)/SMA(ABS(VOL-LC),N2,1)*100;
VRSI3:SMA(MAX(VOL-LC,0),N3,1)/SMA(ABS(VOL-LC),N3,1)*100;
END

# source: Steven B. Achelis, Technical Analysis from A to Z (volume rate of change); as in the charting platforms' standard VROC formula
FORMULA VROC "Volume rate of change (量变动速率): VROC = (V - REF(V,N)) / REF(V,N) * 100; MAVROC = MA(VROC, M)"
PARAM N 12 1 250
PARAM M 6 1 250
VROC:(VOL-REF(VOL,N))/REF(VOL,N)*100;
MAVROC:MA(VROC,M);
END

# source: Steven B. Achelis, Technical Analysis from A to Z (volume oscillator); as in the charting platforms' standard VOSC formula
# note: the platforms divide by the short average (some texts by the long one); the platforms' version was followed
FORMULA VOSC "Volume oscillator (成交量震荡): VOSC = (MA(V,SHORT) - MA(V,LONG)) / MA(V,SHORT) * 100"
PARAM SHORT 12 1 250
PARAM LONG 26 1 250
VOSC:(MA(VOL,SHORT)-MA(VOL,LONG))/MA(VOL,SHORT)*100;
END

# source: standard formula of the Chinese charting platforms (volume standard deviation), as published in Chinese technical-analysis handbooks
FORMULA VSTD "Volume standard deviation (成交量标准差): VSTD = sample STD(V, N)"
PARAM N 10 2 250
VSTD:STD(VOL,N);
END

# source: Larry Williams' accumulation/distribution, as described in Steven B. Achelis, Technical Analysis from A to Z; as in the charting platforms' standard WAD formula
FORMULA WAD "Williams accumulation/distribution (威廉多空力度线): running sum of C-MIN(C1,L) on up bars, C-MAX(C1,H) on down bars; MAWAD = MA(WAD, M)"
PARAM M 30 1 250
MIDA:=CLOSE-MIN(REF(CLOSE,1),LOW);
MIDB:=IF(CLOSE<REF(CLOSE,1),CLOSE-MAX(REF(CLOSE,1),HIGH),0);
WAD:SUM(IF(CLOSE>REF(CLOSE,1),MIDA,MIDB),0);
MAWAD:MA(WAD,M);
END

# source: standard formula of the Chinese charting platforms (acceleration line), as published in Chinese technical-analysis handbooks
FORMULA JS "Acceleration line (加速线): JS = 100*(C - REF(C,N)) / (N*REF(C,N)), the N-bar change per bar in percent; MAJSk = MA(JS, Mk)"
PARAM N 5 1 250
PARAM M1 5 1 250
PARAM M2 10 1 250
PARAM M3 20 1 250
JS:100*(CLOSE-REF(CLOSE,N))/(N*REF(CLOSE,N));
MAJS1:MA(JS,M1);
MAJS2:MA(JS,M2);
MAJS3:MA(JS,M3);
END

# source: Larry Williams' %R, smoothed as in the charting platforms' standard LWR formula
FORMULA LWR "Smoothed Williams %R (威廉指标 LWR): RSV = (HHV(H,N)-C)/(HHV(H,N)-LLV(L,N))*100; LWR1 = SMA(RSV, M1, 1); LWR2 = SMA(LWR1, M2, 1)"
PARAM N 9 1 250
PARAM M1 3 1 250
PARAM M2 3 1 250
RSV:=(HHV(HIGH,N)-CLOSE)/(HHV(HIGH,N)-LLV(LOW,N))*100;
LWR1:SMA(RSV,M1,1);
LWR2:SMA(LWR1,M2,1);
END

# source: standard formula of the Chinese charting platforms (moving-average RSI), as published in Chinese technical-analysis handbooks
# note: the platforms name the lines RSI10 and RSI6 after the default periods; named MARSI1 and MARSI2 here since the periods are parameters
FORMULA MARSI "Averaged RSI (相对强弱平均线): MARSIk = MA(100*MEMA(up move, Mk) / (MEMA(up move, Mk) + MEMA(down move, Mk)), Mk) for Mk = M1, M2"
PARAM M1 10 1 250
PARAM M2 6 1 250
DIF:=CLOSE-REF(CLOSE,1);
VU:=IF(DIF>=0,DIF,0);
VD:=IF(DIF<0,-DIF,0);
MAU1:=MEMA(VU,M1);
MAD1:=MEMA(VD,M1);
MAU2:=MEMA(VU,M2);
MAD2:=MEMA(VD,M2);
MARSI1:MA(100*MAU1/(MAU1+MAD1),M1);
MARSI2:MA(100*MAU2/(MAU2+MAD2),M2);
END

# source: standard formula of the Chinese charting platforms (main force buying and selling), as published in Chinese technical-analysis handbooks
FORMULA ZLMM "Main-force buy/sell (主力买卖): RSIn = SMA-RSI of n bars; MMS = MA(3*RSI12 - 2*RSI16, 3); MMM = EMA(MMS, 8); MML = MA(3*RSI18 - 2*RSI12, 5)"
LC:=REF(CLOSE,1);
RSI12:=SMA(MAX(CLOSE-LC,0),12,1)/SMA(ABS(CLOSE-LC),12,1)*100;
RSI16:=SMA(MAX(CLOSE-LC,0),16,1)/SMA(ABS(CLOSE-LC),16,1)*100;
RSI18:=SMA(MAX(CLOSE-LC,0),18,1)/SMA(ABS(CLOSE-LC),18,1)*100;
MMS:MA(3*RSI12-2*RSI16,3);
MMM:EMA(MMS,8);
MML:MA(3*RSI18-2*RSI12,5);
END

# source: George C. Lane's stochastic, slowed as in the charting platforms' standard SLOWKD formula
FORMULA SLOWKD "Slow KD (慢速KD): RSV = (C-LLV(L,N))/(HHV(H,N)-LLV(L,N))*100; FASTK = SMA(RSV,M1,1); K = SMA(FASTK,M2,1); D = SMA(K,M3,1)"
PARAM N 9 1 250
PARAM M1 3 1 250
PARAM M2 3 1 250
PARAM M3 5 1 250
RSV:=(CLOSE-LLV(LOW,N))/(HHV(HIGH,N)-LLV(LOW,N))*100;
FASTK:=SMA(RSV,M1,1);
K:SMA(FASTK,M2,1);
D:SMA(K,M3,1);
END

# source: standard formula of the Chinese charting platforms (rate-of-change convergence-divergence), as published in Chinese technical-analysis handbooks
FORMULA RCCD "Rate-of-change divergence (异同离差变化率): ARC = SMA(REF(C/REF(C,N),1), N, 1); DIF = MA(REF(ARC,1),M1) - MA(REF(ARC,1),M2); RCCD = SMA(DIF, N, 1)"
PARAM N 59 1 250
PARAM M1 21 1 250
PARAM M2 28 1 250
RC:=CLOSE/REF(CLOSE,N);
ARC:=SMA(REF(RC,1),N,1);
DIF:MA(REF(ARC,1),M1)-MA(REF(ARC,1),M2);
RCCD:SMA(DIF,N,1);
END

# source: standard formula of the Chinese charting platforms (modified momentum index), as published in Chinese technical-analysis handbooks
FORMULA SRMI "Modified momentum (MI修正指标): A = (C-REF(C,N)) divided by REF(C,N) when falling, by C when rising, 0 when equal; MI = SMA(A, N, 1)"
PARAM N 9 1 250
A:=IF(CLOSE<REF(CLOSE,N),(CLOSE-REF(CLOSE,N))/REF(CLOSE,N),IF(CLOSE=REF(CLOSE,N),0,(CLOSE-REF(CLOSE,N))/CLOSE));
MI:SMA(A,N,1);
END

# source: standard formula of the Chinese charting platforms (cost average lines), as published in Chinese technical-analysis handbooks
FORMULA AMV "Cost moving averages (成本价均线): AMVk = SUM(V*(O+C)/2, Mk) / SUM(V, Mk), the volume-weighted mean of (O+C)/2, for four periods" OVERLAY
PARAM M1 5 1 250
PARAM M2 13 1 250
PARAM M3 34 1 250
PARAM M4 60 1 250
AMOV:=VOL*(OPEN+CLOSE)/2;
AMV1:SUM(AMOV,M1)/SUM(VOL,M1);
AMV2:SUM(AMOV,M2)/SUM(VOL,M2);
AMV3:SUM(AMOV,M3)/SUM(VOL,M3);
AMV4:SUM(AMOV,M4)/SUM(VOL,M4);
END

# source: standard formula of the Chinese charting platforms (momentum convergence-divergence), as published in Chinese technical-analysis handbooks
FORMULA MICD "Momentum divergence (异同离差动力指数): AMI = SMA(C-C1, N, 1); DIF = MA(REF(AMI,1),N1) - MA(REF(AMI,1),N2); MICD = SMA(DIF, 10, 1)"
PARAM N 3 1 250
PARAM N1 10 1 250
PARAM N2 20 1 250
MOM:=CLOSE-REF(CLOSE,1);
AMI:=SMA(MOM,N,1);
DIF:MA(REF(AMI,1),N1)-MA(REF(AMI,1),N2);
MICD:SMA(DIF,10,1);
END

# source: standard formula of the Chinese charting platforms (directional standard deviation index), as published in Chinese technical-analysis handbooks
# note: the smoothing weight of SMA(DDI, N1, M) may not exceed N1, so it is MIN(M, N1); DDI is 0 where no directional move occurred in the window
FORMULA DDI "Directional deviation index (方向标准离差指数): DMZ/DMF = largest H or L move on bars whose H+L rose/fell; DDI = (SUM(DMZ,N)-SUM(DMF,N))/(their total); ADDI = SMA(DDI,N1,MIN(M,N1)); AD = MA(ADDI,M1)"
PARAM N 13 1 250
PARAM N1 30 1 250
PARAM M 10 1 250
PARAM M1 5 1 250
MOVE:=MAX(ABS(HIGH-REF(HIGH,1)),ABS(LOW-REF(LOW,1)));
DMZ:=IF(HIGH+LOW<=REF(HIGH,1)+REF(LOW,1),0,MOVE);
DMF:=IF(HIGH+LOW>=REF(HIGH,1)+REF(LOW,1),0,MOVE);
SZ:=SUM(DMZ,N);
SF:=SUM(DMF,N);
DIZ:=SZ/(SZ+SF);
DIF:=SF/(SF+SZ);
DDI:IF(SZ+SF=0,0,DIZ-DIF),COLORSTICK;
ADDI:SMA(DDI,N1,MIN(M,N1));
AD:MA(ADDI,M1);
END

# source: standard formula of the Chinese charting platforms (market trend), as published in Chinese technical-analysis handbooks
FORMULA CYE "Market trend (市场趋势): CYEL = percent change of MA(C,5) from the previous bar; CYES = percent change of MA(MA(C,20),5)"
MAL:=MA(CLOSE,5);
MAS:=MA(MA(CLOSE,20),5);
CYEL:(MAL-REF(MAL,1))/REF(MAL,1)*100;
CYES:(MAS-REF(MAS,1))/REF(MAS,1)*100;
END

# source: standard formula of the Chinese charting platforms (traditional bias with its average), as published in Chinese technical-analysis handbooks
FORMULA BIASQL "Traditional bias (乖离率-传统版): BIAS = (C - MA(C,N)) / MA(C,N) * 100; BIASMA = MA(BIAS, M)"
PARAM N 6 1 250
PARAM M 6 1 250
BIAS:(CLOSE-MA(CLOSE,N))/MA(CLOSE,N)*100;
BIASMA:MA(BIAS,M);
END

# source: standard formula of the Chinese charting platforms (3-6 bias), as published in Chinese technical-analysis handbooks
FORMULA BIAS36 "Three-six bias (三六乖离): BIAS36 = MA(C,3) - MA(C,6); BIAS612 = MA(C,6) - MA(C,12); MABIAS = MA(BIAS36, M)"
PARAM M 6 1 250
BIAS36:MA(CLOSE,3)-MA(CLOSE,6);
BIAS612:MA(CLOSE,6)-MA(CLOSE,12);
MABIAS:MA(BIAS36,M);
END

# source: Adam White, "The Vertical Horizontal Filter", Futures magazine (1991); as in the charting platforms' standard VHF formula
FORMULA VHF "Vertical horizontal filter (十字过滤线): VHF = (HHV(C,N) - LLV(C,N)) / SUM(|C - C1|, N)"
PARAM N 28 2 250
VHF:(HHV(CLOSE,N)-LLV(CLOSE,N))/SUM(ABS(CLOSE-REF(CLOSE,1)),N);
END

# source: standard formula of the Chinese charting platforms (directional speed ratio), as published in Chinese technical-analysis handbooks
FORMULA SRDM "Directional speed ratio (动向速度比率): ADMZ/ADMF = MA(DMZ/DMF, 10) of the DDI moves; SRDM = (ADMZ-ADMF)/larger of the two; ASRDM = SMA(SRDM, N, 1)"
PARAM N 30 1 250
MOVE:=MAX(ABS(HIGH-REF(HIGH,1)),ABS(LOW-REF(LOW,1)));
DMZ:=IF(HIGH+LOW<=REF(HIGH,1)+REF(LOW,1),0,MOVE);
DMF:=IF(HIGH+LOW>=REF(HIGH,1)+REF(LOW,1),0,MOVE);
ADMZ:=MA(DMZ,10);
ADMF:=MA(DMF,10);
SRDM:IF(ADMZ>ADMF,(ADMZ-ADMF)/ADMZ,IF(ADMZ=ADMF,0,(ADMZ-ADMF)/ADMF));
ASRDM:SMA(SRDM,N,1);
END

# source: standard formula of the Chinese charting platforms (price oscillator), as published in Chinese technical-analysis handbooks
# note: the platforms divide by the short average (percentage price oscillators divide by the long one); the platforms' version was followed
FORMULA PRICEOSC "Price oscillator (价格震荡指数): PRICEOSC = (MA(C,SHORT) - MA(C,LONG)) / MA(C,SHORT) * 100"
PARAM SHORT 12 1 250
PARAM LONG 26 1 250
PRICEOSC:(MA(CLOSE,SHORT)-MA(CLOSE,LONG))/MA(CLOSE,SHORT)*100;
END

# source: standard formula of the Chinese charting platforms (variant moving averages), as published in Chinese technical-analysis handbooks
FORMULA VMA "Variant moving averages (变异平均线): VMAk = MA((H+O+L+C)/4, Mk) for six periods Mk" OVERLAY
PARAM M1 6 1 500
PARAM M2 12 1 500
PARAM M3 30 1 500
PARAM M4 72 1 500
PARAM M5 144 1 500
PARAM M6 288 1 500
VV:=(HIGH+OPEN+LOW+CLOSE)/4;
VMA1:MA(VV,M1);
VMA2:MA(VV,M2);
VMA3:MA(VV,M3);
VMA4:MA(VV,M4);
VMA5:MA(VV,M5);
VMA6:MA(VV,M6);
END

# source: Bill Williams, Trading Chaos (1995), the alligator; as in the charting platforms' standard ALLIGAT formula
# note: Williams' smoothed average is SMA(X,N,1); his forward shift of the lines is written REF (the value of that many bars ago), so nothing looks ahead
FORMULA ALLIGAT "Alligator (鳄鱼线): of the median price (H+L)/2, JAW = REF(SMA(MP,13,1), 8); TEETH = REF(SMA(MP,8,1), 5); LIPS = REF(SMA(MP,5,1), 3), MP the median price" OVERLAY
NN:=(HIGH+LOW)/2;
JAW:REF(SMA(NN,13,1),8);
TEETH:REF(SMA(NN,8,1),5);
LIPS:REF(SMA(NN,5,1),3);
END

# source: Daryl Guppy, Trend Trading (2004), Guppy multiple moving averages; as in the charting platforms' standard GMMA formula
FORMULA GMMA "Guppy multiple moving averages (顾比均线): short group EMA(C, 3/5/8/10/12/15) and long group EMA(C, 30/35/40/45/50/60)" OVERLAY
E3:EMA(CLOSE,3);
E5:EMA(CLOSE,5);
E8:EMA(CLOSE,8);
E10:EMA(CLOSE,10);
E12:EMA(CLOSE,12);
E15:EMA(CLOSE,15);
E30:EMA(CLOSE,30);
E35:EMA(CLOSE,35);
E40:EMA(CLOSE,40);
E45:EMA(CLOSE,45);
E50:EMA(CLOSE,50);
E60:EMA(CLOSE,60);
END

# source: standard formula of the Chinese charting platforms (gravity line), as published in Chinese technical-analysis handbooks
FORMULA UDL "Gravity line (引力线): UDL = mean of MA(C,N1), MA(C,N2), MA(C,N3), MA(C,N4); MAUDL = MA(UDL, M)" OVERLAY
PARAM N1 3 1 250
PARAM N2 5 1 250
PARAM N3 10 1 250
PARAM N4 20 1 250
PARAM M 6 1 250
UDL:(MA(CLOSE,N1)+MA(CLOSE,N2)+MA(CLOSE,N3)+MA(CLOSE,N4))/4;
MAUDL:MA(UDL,M);
END

# source: standard formula of the Chinese charting platforms (orbit line), as published in Chinese technical-analysis handbooks
# note: the dynamic average starts where its weight AA is defined (bar N), and AA is capped at 1 (close more than double its average), so that it has no gaps
FORMULA GDX "Orbit line (轨道线 GDX): JAX = DMA(C, |(2C+H+L)/4 - MA(C,N)| / MA(C,N)); UPPER/LOWER = JAX*(1 +/- M/100)" OVERLAY
PARAM N 30 1 250
PARAM M 9 0 100
AA:=ABS((2*CLOSE+HIGH+LOW)/4-MA(CLOSE,N))/MA(CLOSE,N);
JAX:DMA(IF(AA>=0,CLOSE,0/0),MIN(AA,1));
UPPER:(1+M/100)*JAX;
LOWER:(1-M/100)*JAX;
END

# source: standard formula of the Chinese charting platforms (long-term line), as published in Chinese technical-analysis handbooks
# note: a 2-bar range of 0 (two equal one-price bars) would make the platforms' volume ratio infinite; such a bar adds 0 here so that the running sum continues
FORMULA LON "Long-term line (长线指标 LON): running sum of (C-C1)*SUM(V,2)/(100*2-bar range); LON = SMA(sum,10,1) - SMA(sum,20,1); LONMA = MA(LON, N); LONT = LON as a histogram"
PARAM N 10 1 250
LC:=REF(CLOSE,1);
RNG:=HHV(HIGH,2)-LLV(LOW,2);
VID:=IF(RNG=0,0,SUM(VOL,2)/(RNG*100));
RC:=(CLOSE-LC)*VID;
LONG:=SUM(RC,0);
DIFF:=SMA(LONG,10,1);
DEA:=SMA(LONG,20,1);
LON:DIFF-DEA;
LONMA:MA(LON,N);
LONT:LON,COLORSTICK;
END

# source: standard formula of the Chinese charting platforms (short-term line), as published in Chinese technical-analysis handbooks
# note: the volume change ratio is taken as 0 after a bar without volume (where it is undefined)
FORMULA SHT "Short-term line (短线指标 SHT): bias of C to MA(C,24) in percent, times 1 + MA(volume change ratio (V-V1)/V1, 5); SHTMA = MA(SHT, N)"
PARAM N 5 1 250
VAR1:=MA(IF(REF(VOL,1)=0,0,(VOL-REF(VOL,1))/REF(VOL,1)),5);
VAR2:=(CLOSE-MA(CLOSE,24))/MA(CLOSE,24)*100;
SHT:VAR2*(1+VAR1),COLORSTICK;
SHTMA:MA(SHT,N);
END

# source: standard formula of the Chinese charting platforms (range acceleration), as published in Chinese technical-analysis handbooks
FORMULA ACCER "Range acceleration (幅度涨速): ACCER = SLOPE(C, N) / C, the least-squares slope of the last N closes relative to the close"
PARAM N 8 2 250
ACCER:SLOPE(CLOSE,N)/CLOSE;
END

# source: standard formula of the Chinese charting platforms (momentum index), as published in Chinese technical-analysis handbooks
FORMULA MI "Momentum index (动量指标 MI): A = C - REF(C,N); MI = SMA(A, N, 1)"
PARAM N 12 1 250
A:=CLOSE-REF(CLOSE,N);
MI:SMA(A,N,1);
END
