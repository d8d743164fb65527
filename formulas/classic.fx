# Classic indicators of the peer libraries: the TA-Lib functions that the language can express
# and that neither the engine's built-in operations nor the platform group cover, then common
# indicators from their authors' publications and pandas-ta's documentation.
# Seeds: where TA-Lib starts an exponential or Wilder average from the simple average of its
# first N values, the entry writes IF(BARSCOUNT(X)>N, X, MA(X,N)) as the input of EMA or SMA:
# the recurrence then starts on the bar where N values exist, from their mean (SMA(X,N,1) is
# Wilder's smoothing). Entries from other authors keep the language's EMA seed (the first
# value) unless their note says otherwise: their authors publish no seed.
# True range, where needed, is written inline: MAX(MAX(H-L, |C1-H|), |C1-L|), C1 = REF(C,1).

# ---------------------------------------------------------------- prices

# source: TA-Lib function documentation (ta-lib.org), AVGPRICE
FORMULA AVGPRICE "Average price: (O+H+L+C)/4" OVERLAY
AVGPRICE: (O+H+L+C)/4;
END

# source: TA-Lib function documentation (ta-lib.org), MEDPRICE
FORMULA MEDPRICE "Median price (中间价): (H+L)/2" OVERLAY
MEDPRICE: (H+L)/2;
END

# source: TA-Lib function documentation (ta-lib.org), TYPPRICE
FORMULA TYPPRICE "Typical price (典型价格): (H+L+C)/3" OVERLAY
TYPPRICE: (H+L+C)/3;
END

# source: TA-Lib function documentation (ta-lib.org), WCLPRICE
FORMULA WCLPRICE "Weighted close price (加权收盘价): (H+L+2*C)/4" OVERLAY
WCLPRICE: (H+L+C*2)/4;
END

# source: TA-Lib function documentation (ta-lib.org), MIDPOINT
FORMULA MIDPOINT "Midpoint over period: (HHV(C,N)+LLV(C,N))/2" OVERLAY
PARAM N 14 2 250
MIDPOINT: (HHV(C,N)+LLV(C,N))/2;
END

# source: TA-Lib function documentation (ta-lib.org), MIDPRICE
# note: the built-in price channel PC's middle line under TA-Lib's name: a reference, not a second definition
FORMULA MIDPRICE "Midpoint price over period: (HHV(H,N)+LLV(L,N))/2, the built-in PC's MID line" OVERLAY
PARAM N 14 2 250
MIDPRICE: "PC.MID"(N);
END

# source: TA-Lib function documentation (ta-lib.org), MINMAX
FORMULA MINMAX "Lowest and highest close over period: LO = LLV(C,N), HI = HHV(C,N)" OVERLAY
PARAM N 30 2 250
LO: LLV(C,N);
HI: HHV(C,N);
END

# ---------------------------------------------------------------- moving averages

# source: Patrick Mulloy, Technical Analysis of Stocks & Commodities (Feb 1994); TA-Lib function documentation (ta-lib.org), DEMA
# note: each EMA starts from the mean of its first N inputs, as TA-Lib seeds them
FORMULA DEMA "Double exponential moving average (双重指数平均): 2*E1 - E2, E1 = EMA(C,N), E2 = EMA(E1,N)" OVERLAY
PARAM N 30 2 250
E1:=EMA(IF(BARSCOUNT(C)>N, C, MA(C,N)), N);
E2:=EMA(IF(BARSCOUNT(E1)>N, E1, MA(E1,N)), N);
DEMA: 2*E1-E2;
END

# source: Patrick Mulloy, Technical Analysis of Stocks & Commodities (Jan 1994); TA-Lib function documentation (ta-lib.org), TEMA
# note: each EMA starts from the mean of its first N inputs, as TA-Lib seeds them
FORMULA TEMA "Triple exponential moving average (三重指数平均): 3*E1 - 3*E2 + E3, E1 = EMA(C,N), E2 = EMA(E1,N), E3 = EMA(E2,N)" OVERLAY
PARAM N 30 2 250
E1:=EMA(IF(BARSCOUNT(C)>N, C, MA(C,N)), N);
E2:=EMA(IF(BARSCOUNT(E1)>N, E1, MA(E1,N)), N);
E3:=EMA(IF(BARSCOUNT(E2)>N, E2, MA(E2,N)), N);
TEMA: 3*E1-3*E2+E3;
END

# source: TA-Lib function documentation (ta-lib.org), TRIMA
FORMULA TRIMA "Triangular moving average (三角移动平均): MA(MA(C,N-INTPART(N/2)),INTPART(N/2)+1), weights 1,2,..,peak,..,2,1 over N bars" OVERLAY
PARAM N 30 2 250
N1:=INTPART(N/2)+1;
N2:=N+1-N1;
TRIMA: MA(MA(C,N2),N1);
END

# source: Tim Tillson, Technical Analysis of Stocks & Commodities (Jan 1998); TA-Lib function documentation (ta-lib.org), T3
# note: the six EMAs each start from the mean of their first N inputs, as TA-Lib seeds them
FORMULA T3 "Tillson T3 moving average: GD applied three times, GD(X) = EMA(X,N)*(1+VF) - EMA(EMA(X,N),N)*VF" OVERLAY
PARAM N 5 2 100
PARAM VF 0.7 0 1
E1:=EMA(IF(BARSCOUNT(C)>N, C, MA(C,N)), N);
E2:=EMA(IF(BARSCOUNT(E1)>N, E1, MA(E1,N)), N);
E3:=EMA(IF(BARSCOUNT(E2)>N, E2, MA(E2,N)), N);
E4:=EMA(IF(BARSCOUNT(E3)>N, E3, MA(E3,N)), N);
E5:=EMA(IF(BARSCOUNT(E4)>N, E4, MA(E4,N)), N);
E6:=EMA(IF(BARSCOUNT(E5)>N, E5, MA(E5,N)), N);
C1:=-VF*VF*VF;
C2:=3*VF*VF+3*VF*VF*VF;
C3:=-6*VF*VF-3*VF-3*VF*VF*VF;
C4:=1+3*VF+VF*VF*VF+3*VF*VF;
T3: C1*E6+C2*E5+C3*E4+C4*E3;
END

# source: Perry Kaufman, Smarter Trading (1995); TA-Lib function documentation (ta-lib.org), KAMA
# note: as TA-Lib, fast and slow constants are 2 and 30 bars, the first value (bar N) starts from the previous close, and ER is 1 when the N-bar path length is 0
FORMULA KAMA "Kaufman adaptive moving average (考夫曼自适应均线): K' + SC*(C-K'), SC = (ER*(2/3-2/31)+2/31)^2, ER = |C-REF(C,N)|/SUM(|C-C1|,N)" OVERLAY
PARAM N 30 2 250
DIR:=ABS(C-REF(C,N));
PATH:=SUM(ABS(C-REF(C,1)),N);
ER:=IF(PATH<=DIR, 1, DIR/PATH);
SC:=POW(ER*(2/3-2/31)+2/31, 2);
K:=DMA(IF(BARSCOUNT(C)>=N, C, 0/0), SC);
KAMA: IF(BARSCOUNT(C)>N, K, 0/0);
END

# source: Alan Hull, Hull moving average (alanhull.com, 2005); pandas-ta documentation, hma
# note: half and root windows are truncated to whole bars, INTPART(N/2) and INTPART(SQRT(N)), as pandas-ta does
FORMULA HULL "Hull moving average: WMA(2*WMA(C,N/2) - WMA(C,N), SQRT(N))" OVERLAY
PARAM N 10 2 250
HALF:=INTPART(N/2);
ROOT:=INTPART(SQRT(N));
HULL: WMA(2*WMA(C,HALF)-WMA(C,N), ROOT);
END

# source: John Ehlers and Ric Way, Zero Lag (well, almost) (2010); pandas-ta documentation, zlma
# note: lag = INTPART((N-1)/2) bars; the EMA keeps the language's seed (the first value)
FORMULA ZLEMA "Zero-lag exponential moving average: EMA(C + (C - REF(C,LAG)), N), LAG = INTPART((N-1)/2)" OVERLAY
PARAM N 20 1 250
LAG:=INTPART((N-1)/2);
ZLEMA: EMA(2*C-REF(C,LAG), N);
END

# source: pandas-ta documentation, vwma (volume weighted moving average)
# note: where the N bars hold no volume the simple average of the closes is given
FORMULA VWMA "Volume weighted moving average (成交量加权均线): SUM(C*V,N)/SUM(V,N)" OVERLAY
PARAM N 20 1 250
SV:=SUM(V,N);
VWMA: IF(SV=0, MA(C,N), SUM(C*V,N)/SV);
END

# source: Price Headley, Big Trends in Trading (2002); TA-Lib function documentation (ta-lib.org), ACCBANDS
FORMULA ACCBANDS "Acceleration bands: UPPER = MA(H*(1+4*(H-L)/(H+L)),N), MID = MA(C,N), LOWER = MA(L*(1-4*(H-L)/(H+L)),N)" OVERLAY
PARAM N 20 1 250
W:=4*(H-L)/(H+L);
UPPER: MA(H*(1+W),N);
MID: MA(C,N);
LOWER: MA(L*(1-W),N);
END

# ---------------------------------------------------------------- statistics and regression

# source: TA-Lib function documentation (ta-lib.org), STDDEV
# note: population standard deviation (divisor N), as TA-Lib
FORMULA STDDEV "Standard deviation (标准差): STDP(C,N)*NBDEV, population form"
PARAM N 5 2 250
PARAM NBDEV 1 0 10
STDDEV: STDP(C,N)*NBDEV;
END

# source: TA-Lib function documentation (ta-lib.org), VAR
# note: named VARIANCE because VAR is a language function; population variance (divisor N), as TA-Lib
FORMULA VARIANCE "Variance (方差): VARP(C,N), population form"
PARAM N 5 2 250
VARIANCE: VARP(C,N);
END

# source: TA-Lib function documentation (ta-lib.org), LINEARREG
FORMULA LINEARREG "Linear regression (线性回归): least-squares line through the last N closes, at the last bar" OVERLAY
PARAM N 14 2 250
LINEARREG: FORCAST(C,N);
END

# source: TA-Lib function documentation (ta-lib.org), LINEARREG_SLOPE
FORMULA LINEARREG_SLOPE "Linear regression slope (线性回归斜率): slope per bar of the least-squares line through the last N closes"
PARAM N 14 2 250
LINEARREG_SLOPE: SLOPE(C,N);
END

# source: TA-Lib function documentation (ta-lib.org), LINEARREG_INTERCEPT
FORMULA LINEARREG_INTERCEPT "Linear regression intercept: least-squares line through the last N closes, at the first bar of the window" OVERLAY
PARAM N 14 2 250
LINEARREG_INTERCEPT: FORCAST(C,N)-SLOPE(C,N)*(N-1);
END

# ---------------------------------------------------------------- rates of change

# source: TA-Lib function documentation (ta-lib.org), ROCP
# note: the built-in ROC is this times 100; 0 where the old close is 0, as TA-Lib
FORMULA ROCP "Rate of change, fraction: (C-REF(C,N))/REF(C,N)"
PARAM N 10 1 250
P:=REF(C,N);
ROCP: IF(P=0, 0, (C-P)/P);
END

# source: TA-Lib function documentation (ta-lib.org), ROCR
# note: 0 where the old close is 0, as TA-Lib
FORMULA ROCR "Rate of change ratio: C/REF(C,N)"
PARAM N 10 1 250
P:=REF(C,N);
ROCR: IF(P=0, 0, C/P);
END

# source: TA-Lib function documentation (ta-lib.org), ROCR100
# note: the built-in OSC's OSC line under TA-Lib's name: a reference, not a second definition
FORMULA ROCR100 "Rate of change ratio, 100 scale: C/REF(C,N)*100, the built-in OSC's OSC line"
PARAM N 10 1 250
ROCR100: "OSC.OSC"(N);
END

# ---------------------------------------------------------------- oscillators

# source: TA-Lib function documentation (ta-lib.org), APO
# note: TA-Lib's default average type, the simple average, is used
FORMULA APO "Absolute price oscillator: MA(C,FAST) - MA(C,SLOW)"
PARAM FAST 12 1 250
PARAM SLOW 26 1 250
APO: MA(C,FAST)-MA(C,SLOW), COLORSTICK;
END

# source: TA-Lib function documentation (ta-lib.org), PPO
# note: TA-Lib's default average type, the simple average, is used (other sources use EMAs); 0 where the slow average is 0
FORMULA PPO "Percentage price oscillator (价格震荡百分比): (MA(C,FAST) - MA(C,SLOW))/MA(C,SLOW)*100"
PARAM FAST 12 1 250
PARAM SLOW 26 1 250
MS:=MA(C,SLOW);
PPO: IF(MS=0, 0, (MA(C,FAST)-MS)/MS*100);
END

# source: TA-Lib function documentation (ta-lib.org), MACDFIX
# note: as TA-Lib, fixed smoothing 0.15 and 0.075 (12 and 26 bars); both starts are on bar 26, from the mean of the last 12 and 26 closes; signal EMA seeded with its first M values' mean
FORMULA MACDFIX "MACD with fixed 12/26 periods: MACD = DMA(C,0.15) - DMA(C,0.075) (EMA 12 and 26 with fixed weights), SIGNAL = EMA(MACD,M), HIST = MACD - SIGNAL"
PARAM M 9 1 250
CNT:=BARSCOUNT(C);
EF:=DMA(IF(CNT>26, C, IF(CNT=26, MA(C,12), 0/0)), 0.15);
ES:=DMA(IF(CNT>26, C, MA(C,26)), 0.075);
DIF:=EF-ES;
SIG:=EMA(IF(BARSCOUNT(DIF)>M, DIF, MA(DIF,M)), M);
MACD: IF(BARSCOUNT(DIF)>=M, DIF, 0/0);
SIGNAL: SIG;
HIST: MACD-SIG, COLORSTICK;
END

# source: Tushar Chande and Stanley Kroll, The New Technical Trader (1994); TA-Lib function documentation (ta-lib.org), CMO
# note: Chande's sums over N bars are followed; TA-Lib smooths gains and losses as its RSI does, which makes its CMO equal 2*RSI-100
FORMULA CMO "Chande momentum oscillator (钱德动量摆动指标): 100*(SU-SD)/(SU+SD), SU/SD = N-bar sums of up/down close changes"
PARAM N 14 1 250
D1:=C-REF(C,1);
SU:=SUM(MAX(D1,0),N);
SD:=SUM(MAX(-D1,0),N);
CMO: IF(SU+SD=0, 0, 100*(SU-SD)/(SU+SD));
END

# source: Tushar Chande, Intraday Momentum Index; TA-Lib function documentation (ta-lib.org), IMI
FORMULA IMI "Intraday momentum index: 100*SU/(SU+SD), SU/SD = N-bar sums of C-O on white / O-C on black bars"
PARAM N 14 1 250
SU:=SUM(IF(C>O, C-O, 0),N);
SD:=SUM(IF(C<O, O-C, 0),N);
IMI: IF(SU+SD=0, 0, 100*SU/(SU+SD));
END

# source: Igor Livshin, Balance of Power, Technical Analysis of Stocks & Commodities (Aug 2001); TA-Lib function documentation (ta-lib.org), BOP
# note: 0 on a one-price bar, as TA-Lib
FORMULA BOP "Balance of power: (C-O)/(H-L)"
BOP: IF(H>L, (C-O)/(H-L), 0), COLORSTICK;
END

# source: Tushar Chande, Aroon (1995); TA-Lib function documentation (ta-lib.org), AROON
# note: the window holds N+1 bars as in TA-Lib; among equal extremes the latest counts
FORMULA AROON "Aroon (阿隆指标): UP = 100*(N - bars since the highest high of N+1 bars)/N, DOWN = same from the lowest low"
PARAM N 14 1 250
UP: (N-HHVBARS(H,N+1))*100/N;
DOWN: (N-LLVBARS(L,N+1))*100/N;
END

# source: Tushar Chande, Aroon (1995); TA-Lib function documentation (ta-lib.org), AROONOSC
FORMULA AROONOSC "Aroon oscillator (阿隆振荡): Aroon UP - DOWN = 100*(LLVBARS(L,N+1) - HHVBARS(H,N+1))/N"
PARAM N 14 1 250
AROONOSC: (LLVBARS(L,N+1)-HHVBARS(H,N+1))*100/N;
END

# source: George Lane; TA-Lib function documentation (ta-lib.org), STOCH
# note: TA-Lib's default simple averages for both smoothings; raw %K is 0 where the N-bar range is 0, as TA-Lib
FORMULA STOCH "Slow stochastic (慢速随机指标): SLOWK = MA(100*(C-LLV(L,N))/(HHV(H,N)-LLV(L,N)),KP), SLOWD = MA(SLOWK,DP)"
PARAM N 5 1 250
PARAM KP 3 1 250
PARAM DP 3 1 250
LL:=LLV(L,N);
RG:=HHV(H,N)-LL;
RAW:=IF(RG=0, 0, 100*(C-LL)/RG);
SLOWK: MA(RAW,KP);
SLOWD: MA(SLOWK,DP);
END

# source: George Lane; TA-Lib function documentation (ta-lib.org), STOCHF
# note: TA-Lib's default simple average for %D; %K is 0 where the N-bar range is 0, as TA-Lib
FORMULA STOCHF "Fast stochastic (快速随机指标): FASTK = 100*(C-LLV(L,N))/(HHV(H,N)-LLV(L,N)), FASTD = MA(FASTK,DP)"
PARAM N 5 1 250
PARAM DP 3 1 250
LL:=LLV(L,N);
RG:=HHV(H,N)-LL;
FASTK: IF(RG=0, 0, 100*(C-LL)/RG);
FASTD: MA(FASTK,DP);
END

# source: Tushar Chande and Stanley Kroll, The New Technical Trader (1994); TA-Lib function documentation (ta-lib.org), STOCHRSI
# note: TA-Lib's RSI (Wilder averages seeded with the mean of the first N gains and losses) and default simple average for %D; 0 where a range is 0
FORMULA STOCHRSI "Stochastic RSI (随机相对强弱): FASTK = 100*(R-LLV(R,KP))/(HHV(R,KP)-LLV(R,KP)), R = RSI(C,N); FASTD = MA(FASTK,DP)"
PARAM N 14 2 250
PARAM KP 5 2 250
PARAM DP 3 1 250
D1:=C-REF(C,1);
G:=MAX(D1,0);
LS:=MAX(-D1,0);
AG:=SMA(IF(BARSCOUNT(G)>N, G, MA(G,N)),N,1);
AL:=SMA(IF(BARSCOUNT(LS)>N, LS, MA(LS,N)),N,1);
R:=IF(AG+AL=0, 0, 100*AG/(AG+AL));
HR:=HHV(R,KP);
LR:=LLV(R,KP);
FASTK: IF(HR=LR, 0, 100*(R-LR)/(HR-LR));
FASTD: MA(FASTK,DP);
END

# ---------------------------------------------------------------- volatility and directional movement

# source: J. Welles Wilder, New Concepts in Technical Trading Systems (1978); TA-Lib function documentation (ta-lib.org), TRANGE
FORMULA TRANGE "True range (真实波幅): MAX(H-L, |C1-H|, |C1-L|), C1 = previous close"
TRANGE: MAX(MAX(H-L, ABS(REF(C,1)-H)), ABS(REF(C,1)-L));
END

# source: TA-Lib function documentation (ta-lib.org), NATR
# note: ATR is Wilder's average of the true range seeded with the mean of the first N true ranges (first value at bar N), as TA-Lib
FORMULA NATR "Normalized average true range (归一化真实波幅): ATR(N)/C*100, ATR = Wilder average SMA(TR,N,1) of the true range"
PARAM N 14 1 250
TR1:=MAX(MAX(H-L, ABS(REF(C,1)-H)), ABS(REF(C,1)-L));
AT:=SMA(IF(BARSCOUNT(TR1)>N, TR1, MA(TR1,N)),N,1);
NATR: IF(C=0, 0, AT/C*100);
END

# source: J. Welles Wilder, New Concepts in Technical Trading Systems (1978); TA-Lib function documentation (ta-lib.org), PLUS_DM
# note: as TA-Lib, the running sum starts at bar N-1 from the first N-1 one-bar values (bar 0 has none), then S = S - S/N + DM
FORMULA PLUS_DM "Plus directional movement (上升动向值): Wilder running sum over N of +DM = H-H1 when H-H1 > L1-L and > 0, else 0"
PARAM N 14 2 250
HD:=H-REF(H,1);
LD:=REF(L,1)-L;
DM:=IF(HD>0 AND HD>LD, HD, 0);
PLUS_DM: N*SMA(IF(BARSCOUNT(DM)>=N, DM, SUM(DM,N-1)/N),N,1);
END

# source: J. Welles Wilder, New Concepts in Technical Trading Systems (1978); TA-Lib function documentation (ta-lib.org), MINUS_DM
# note: as TA-Lib, the running sum starts at bar N-1 from the first N-1 one-bar values (bar 0 has none), then S = S - S/N + DM
FORMULA MINUS_DM "Minus directional movement (下降动向值): Wilder running sum over N of -DM = L1-L when L1-L > H-H1 and > 0, else 0"
PARAM N 14 2 250
HD:=H-REF(H,1);
LD:=REF(L,1)-L;
DM:=IF(LD>0 AND LD>HD, LD, 0);
MINUS_DM: N*SMA(IF(BARSCOUNT(DM)>=N, DM, SUM(DM,N-1)/N),N,1);
END

# source: J. Welles Wilder, New Concepts in Technical Trading Systems (1978); TA-Lib function documentation (ta-lib.org), PLUS_DI
# note: TA-Lib's start: +DM and TR running sums from their first N-1 values, first value at bar N; the built-in ADX's +DI starts from N values
FORMULA PLUS_DI "Plus directional indicator (上升方向线): 100 * Wilder-smoothed +DM / Wilder-smoothed true range, over N"
PARAM N 14 2 250
HD:=H-REF(H,1);
LD:=REF(L,1)-L;
DM:=IF(HD>0 AND HD>LD, HD, 0);
TR1:=MAX(MAX(H-L, ABS(REF(C,1)-H)), ABS(REF(C,1)-L));
SDM:=SMA(IF(BARSCOUNT(DM)>=N, DM, SUM(DM,N-1)/N),N,1);
STR:=SMA(IF(BARSCOUNT(TR1)>=N, TR1, SUM(TR1,N-1)/N),N,1);
PLUS_DI: IF(BARSCOUNT(TR1)>=N, IF(STR=0, 0, 100*SDM/STR), 0/0);
END

# source: J. Welles Wilder, New Concepts in Technical Trading Systems (1978); TA-Lib function documentation (ta-lib.org), MINUS_DI
# note: TA-Lib's start: -DM and TR running sums from their first N-1 values, first value at bar N; the built-in ADX's -DI starts from N values
FORMULA MINUS_DI "Minus directional indicator (下降方向线): 100 * Wilder-smoothed -DM / Wilder-smoothed true range, over N"
PARAM N 14 2 250
HD:=H-REF(H,1);
LD:=REF(L,1)-L;
DM:=IF(LD>0 AND LD>HD, LD, 0);
TR1:=MAX(MAX(H-L, ABS(REF(C,1)-H)), ABS(REF(C,1)-L));
SDM:=SMA(IF(BARSCOUNT(DM)>=N, DM, SUM(DM,N-1)/N),N,1);
STR:=SMA(IF(BARSCOUNT(TR1)>=N, TR1, SUM(TR1,N-1)/N),N,1);
MINUS_DI: IF(BARSCOUNT(TR1)>=N, IF(STR=0, 0, 100*SDM/STR), 0/0);
END

# source: J. Welles Wilder, New Concepts in Technical Trading Systems (1978); TA-Lib function documentation (ta-lib.org), DX
# note: +DI and -DI with TA-Lib's start (running sums from N-1 values, first value at bar N); 0 where both are 0
FORMULA DX "Directional movement index (动向指数): 100*|+DI - -DI|/(+DI + -DI), Wilder DIs over N"
PARAM N 14 2 250
HD:=H-REF(H,1);
LD:=REF(L,1)-L;
PDM:=IF(HD>0 AND HD>LD, HD, 0);
MDM:=IF(LD>0 AND LD>HD, LD, 0);
TR1:=MAX(MAX(H-L, ABS(REF(C,1)-H)), ABS(REF(C,1)-L));
SP:=SMA(IF(BARSCOUNT(PDM)>=N, PDM, SUM(PDM,N-1)/N),N,1);
SM:=SMA(IF(BARSCOUNT(MDM)>=N, MDM, SUM(MDM,N-1)/N),N,1);
STR:=SMA(IF(BARSCOUNT(TR1)>=N, TR1, SUM(TR1,N-1)/N),N,1);
PDI:=IF(STR=0, 0, 100*SP/STR);
MDI:=IF(STR=0, 0, 100*SM/STR);
DX: IF(BARSCOUNT(TR1)>=N, IF(PDI+MDI=0, 0, 100*ABS(PDI-MDI)/(PDI+MDI)), 0/0);
END

# source: J. Welles Wilder, New Concepts in Technical Trading Systems (1978); TA-Lib function documentation (ta-lib.org), ADXR
# note: TA-Lib's starts: DX as in DX, ADX = SMA(DX,N,1) seeded with the mean of the first N DX values; the built-in DMI's ADXR uses simple sums instead
FORMULA ADXR "Average directional movement rating (平均方向指数评估): (ADX + REF(ADX,N-1))/2, ADX = Wilder average of DX over N"
PARAM N 14 2 250
HD:=H-REF(H,1);
LD:=REF(L,1)-L;
PDM:=IF(HD>0 AND HD>LD, HD, 0);
MDM:=IF(LD>0 AND LD>HD, LD, 0);
TR1:=MAX(MAX(H-L, ABS(REF(C,1)-H)), ABS(REF(C,1)-L));
SP:=SMA(IF(BARSCOUNT(PDM)>=N, PDM, SUM(PDM,N-1)/N),N,1);
SM:=SMA(IF(BARSCOUNT(MDM)>=N, MDM, SUM(MDM,N-1)/N),N,1);
STR:=SMA(IF(BARSCOUNT(TR1)>=N, TR1, SUM(TR1,N-1)/N),N,1);
PDI:=IF(STR=0, 0, 100*SP/STR);
MDI:=IF(STR=0, 0, 100*SM/STR);
DXV:=IF(BARSCOUNT(TR1)>=N, IF(PDI+MDI=0, 0, 100*ABS(PDI-MDI)/(PDI+MDI)), 0/0);
ADXV:=SMA(IF(BARSCOUNT(DXV)>N, DXV, MA(DXV,N)),N,1);
ADXR: (ADXV+REF(ADXV,N-1))/2;
END

# source: E. W. Dreiss, Choppiness Index; pandas-ta documentation, chop
# note: undefined (no value) where the N-bar high-low range is 0
FORMULA CHOP "Choppiness index: 100*LOG(SUM(TR,N)/(HHV(H,N)-LLV(L,N)))/LOG(N), TR = true range"
PARAM N 14 2 250
TR1:=MAX(MAX(H-L, ABS(REF(C,1)-H)), ABS(REF(C,1)-L));
CHOP: 100*LOG(SUM(TR1,N)/(HHV(H,N)-LLV(L,N)))/LOG(N);
END

# source: Etienne Botes and Douglas Siepman, The Vortex Indicator, Technical Analysis of Stocks & Commodities (Jan 2010)
FORMULA VORTEX "Vortex indicator: VIP = SUM(|H-L1|,N)/SUM(TR,N), VIM = SUM(|L-H1|,N)/SUM(TR,N)"
PARAM N 14 2 250
TR1:=MAX(MAX(H-L, ABS(REF(C,1)-H)), ABS(REF(C,1)-L));
ST:=SUM(TR1,N);
VIP: SUM(ABS(H-REF(L,1)),N)/ST;
VIM: SUM(ABS(L-REF(H,1)),N)/ST;
END

# ---------------------------------------------------------------- volume

# source: Marc Chaikin; TA-Lib function documentation (ta-lib.org), AD
# note: a one-price bar adds nothing, as TA-Lib
FORMULA AD "Chaikin accumulation/distribution line (累积派发线): running total of V*((C-L)-(H-C))/(H-L)"
AD: SUM(IF(H>L, ((C-L)-(H-C))/(H-L)*V, 0),0);
END

# source: Marc Chaikin; TA-Lib function documentation (ta-lib.org), ADOSC
# note: TA-Lib starts both EMAs from the first A/D value (the language's seed) and gives values from bar MAX(FAST,SLOW)-1; the same line as the built-in CHAIKIN's CO
FORMULA ADOSC "Chaikin A/D oscillator (佳庆指标): EMA(AD,FAST) - EMA(AD,SLOW), AD = the Chaikin accumulation/distribution line"
PARAM FAST 3 1 250
PARAM SLOW 10 1 250
ADL:=SUM(IF(H>L, ((C-L)-(H-C))/(H-L)*V, 0),0);
ADOSC: IF(BARSCOUNT(ADL)>=MAX(FAST,SLOW), EMA(ADL,FAST)-EMA(ADL,SLOW), 0/0);
END

# source: Marc Chaikin, Chaikin money flow; pandas-ta documentation, cmf
# note: 0 where the N bars hold no volume
FORMULA CMF "Chaikin money flow (蔡金资金流): SUM(V*((C-L)-(H-C))/(H-L),N)/SUM(V,N); a one-price bar adds 0"
PARAM N 20 1 250
SV:=SUM(V,N);
CMF: IF(SV=0, 0, SUM(IF(H>L, ((C-L)-(H-C))/(H-L)*V, 0),N)/SV);
END

# source: pandas-ta documentation, pvo (percentage volume oscillator)
# note: EMAs keep the language's seed (the first value); 0 where the slow average is 0
FORMULA PVO "Percentage volume oscillator: PVO = (EMA(V,FAST)-EMA(V,SLOW))/EMA(V,SLOW)*100, SIGNAL = EMA(PVO,M), HIST = PVO - SIGNAL"
PARAM FAST 12 1 250
PARAM SLOW 26 1 250
PARAM M 9 1 250
ES:=EMA(V,SLOW);
PVO: IF(ES=0, 0, (EMA(V,FAST)-ES)/ES*100);
SIGNAL: EMA(PVO,M);
HIST: PVO-SIGNAL, COLORSTICK;
END

# source: Alexander Elder, Trading for a Living (1993), force index
# note: the EMA keeps the language's seed (the first value); Elder gives none
FORMULA EFI "Elder force index (强力指数): EMA((C-C1)*V, N)"
PARAM N 13 1 250
EFI: EMA((C-REF(C,1))*V,N);
END

# source: Stephen J. Klinger, Technical Analysis of Stocks & Commodities (Dec 1997), Klinger volume oscillator
# note: trend = 1 if H+L+C rose else -1; VF = V*|2*DM/CM-1|*trend*100 (some sources write |2*(DM/CM-1)|, pandas-ta uses signed volume only); CM restarts at the first change bar; EMAs keep the language's seed
FORMULA KVO "Klinger volume oscillator: KVO = EMA(VF,FAST) - EMA(VF,SLOW), SIGNAL = EMA(KVO,M), VF = V*|2*DM/CM-1|*trend*100"
PARAM FAST 34 1 250
PARAM SLOW 55 1 250
PARAM M 13 1 250
HLC:=H+L+C;
TRD:=IF(HLC>REF(HLC,1), 1, -1);
CHG:=IF(BARSCOUNT(TRD)=1, 1, TRD<>REF(TRD,1));
DM:=H-L;
K:=BARSLAST(CHG);
CM:=SUM(DM,K+1)+REF(DM,K+1);
VF:=IF(CM=0, 0, V*ABS(2*DM/CM-1)*TRD*100);
KVO: EMA(VF,FAST)-EMA(VF,SLOW);
SIGNAL: EMA(KVO,M);
END

# ---------------------------------------------------------------- momentum from other authors

# source: William Blau, Momentum, Direction, and Divergence (1995), true strength index; pandas-ta documentation, tsi
# note: EMAs keep the language's seed (the first value); 0 where the smoothed absolute change is 0
FORMULA TSI "True strength index (真实强弱指数): 100*EMA(EMA(C-C1,R),S)/EMA(EMA(|C-C1|,R),S); SIGNAL = EMA(TSI,M)"
PARAM R 25 1 250
PARAM S 13 1 250
PARAM M 13 1 250
D1:=C-REF(C,1);
DEN:=EMA(EMA(ABS(D1),R),S);
TSI: IF(DEN=0, 0, 100*EMA(EMA(D1,R),S)/DEN);
SIGNAL: EMA(TSI,M);
END

# source: Martin Pring, Know Sure Thing (KST), Technical Analysis of Stocks & Commodities (1992); pandas-ta documentation, kst
FORMULA KST "Know sure thing (确然指标): MA(ROC1,M1) + 2*MA(ROC2,M2) + 3*MA(ROC3,M3) + 4*MA(ROC4,M4), ROCk over Rk bars; SIGNAL = MA(KST,SIG)"
PARAM R1 10 1 250
PARAM R2 15 1 250
PARAM R3 20 1 250
PARAM R4 30 1 250
PARAM M1 10 1 250
PARAM M2 10 1 250
PARAM M3 10 1 250
PARAM M4 15 1 250
PARAM SIG 9 1 250
KST: MA((C-REF(C,R1))/REF(C,R1)*100,M1)+2*MA((C-REF(C,R2))/REF(C,R2)*100,M2)+3*MA((C-REF(C,R3))/REF(C,R3)*100,M3)+4*MA((C-REF(C,R4))/REF(C,R4)*100,M4);
SIGNAL: MA(KST,SIG);
END

# source: Edwin Coppock, Barron's (1962), Coppock curve; pandas-ta documentation, coppock
FORMULA COPPOCK "Coppock curve (估波指标): WMA(ROC(C,LONG) + ROC(C,SHORT), N), ROC in percent"
PARAM LONG 14 1 250
PARAM SHORT 11 1 250
PARAM N 10 1 250
COPPOCK: WMA((C-REF(C,LONG))/REF(C,LONG)*100+(C-REF(C,SHORT))/REF(C,SHORT)*100,N);
END

# source: Tushar Chande, The New Technical Trader (1994), Qstick; pandas-ta documentation, qstick
FORMULA QSTICK "Qstick: MA(C-O, N)"
PARAM N 10 1 250
QSTICK: MA(C-O,N), COLORSTICK;
END

# source: John Ehlers, Relative Vigor Index, Technical Analysis of Stocks & Commodities (Jan 2002); pandas-ta documentation, rvgi
# note: 0 where the N-bar sum of smoothed ranges is 0
FORMULA RVGI "Relative vigor index: SUM(SW(C-O),N)/SUM(SW(H-L),N), SW(X) = (X+2*X1+2*X2+X3)/6; SIGNAL = SW(RVGI)"
PARAM N 10 1 250
CO:=C-O;
HL:=H-L;
NUM:=(CO+2*REF(CO,1)+2*REF(CO,2)+REF(CO,3))/6;
DEN:=(HL+2*REF(HL,1)+2*REF(HL,2)+REF(HL,3))/6;
SD:=SUM(DEN,N);
RVGI: IF(SD=0, 0, SUM(NUM,N)/SD);
SIGNAL: (RVGI+2*REF(RVGI,1)+2*REF(RVGI,2)+REF(RVGI,3))/6;
END

# source: John Ehlers, Using the Fisher Transform, Technical Analysis of Stocks & Commodities (Nov 2002); pandas-ta documentation, fisher
# note: Ehlers sets his smoothed value to +-0.999 once it passes +-0.99 and feeds that back; a recurrence cannot be clamped here, so the clamp applies to the log's input only
FORMULA FISHER "Fisher transform: V = 0.66*((P-LL)/(HH-LL)-0.5) + 0.67*V1 on P = (H+L)/2 over N; FISHER = 0.5*LN((1+V)/(1-V)) + 0.5*FISHER1; TRIGGER = FISHER of the bar before"
PARAM N 9 2 250
HL2:=(H+L)/2;
HH:=HHV(HL2,N);
LL:=LLV(HL2,N);
X:=IF(HH=LL, 0, 2*((HL2-LL)/(HH-LL)-0.5));
V1:=DMA(IF(BARSCOUNT(X)=1, 0.33*X, X), 0.33);
VC:=IF(V1>0.99, 0.999, IF(V1<-0.99, -0.999, V1));
LG:=LN((1+VC)/(1-VC));
FISHER: DMA(IF(BARSCOUNT(LG)=1, 0.5*LG, LG), 0.5);
TRIGGER: REF(FISHER,1);
END

# ---------------------------------------------------------------- Elder ray

# source: Alexander Elder, Trading for a Living (1993), Elder-ray
# note: the EMA keeps the language's seed (the first value); Elder gives none
FORMULA ERI "Elder ray: BULLP = H - EMA(C,N), BEARP = L - EMA(C,N)"
PARAM N 13 1 250
E:=EMA(C,N);
BULLP: H-E, COLORSTICK;
BEARP: L-E, COLORSTICK;
END
