# Screens. A security passes when the entry's last output line is true at its
# last bar: fenxi scan DIR --where NAME, fenxi.screen(paths, "NAME"). The
# lines before it are the values the screen's table shows beside each row.

# source: moving-average crossover, J. Murphy, Technical Analysis of the Financial Markets (1999), ch. 9
FORMULA SCR_MA_GOLDEN "Moving-average golden cross (均线金叉): MA(C,N1) crosses above MA(C,N2) on the last bar"
PARAM N1 5 1 250
PARAM N2 20 1 500
FAST: MA(CLOSE,N1);
SLOW: MA(CLOSE,N2);
PASS: CROSS(FAST,SLOW);
END

# source: moving-average crossover with volume confirmation, J. Murphy (1999), ch. 7 and 9
FORMULA SCR_MA_VOLUME "Close crosses above MA(C,N) on K times the average volume of the M bars before"
PARAM N 20 1 500
PARAM K 2 1 20
PARAM M 5 1 250
AVERAGE: MA(CLOSE,N);
VOLRATIO: VOL/REF(MA(VOL,M),1);
PASS: CROSS(CLOSE,AVERAGE) AND VOLRATIO>=K;
END

# source: G. Appel, Technical Analysis: Power Tools for Active Investors (2005), MACD signal-line crossover
FORMULA SCR_MACD_BELOW0 "MACD golden cross below zero (零轴下金叉): DIF crosses above DEA while DIF < 0"
PARAM SHORT 12 1 250
PARAM LONG 26 1 250
PARAM M 9 1 250
DIF: "MACD.DIF"(SHORT,LONG,M);
DEA: "MACD.DEA"(SHORT,LONG,M);
PASS: CROSS(DIF,DEA) AND DIF<0;
END

# source: G. Lane's stochastics as the KDJ lines; oversold below 20, J. Murphy (1999), ch. 10
FORMULA SCR_KDJ_OVERSOLD "KDJ golden cross from oversold (超卖金叉): K crosses above D while D < LEVEL"
PARAM N 9 1 250
PARAM M1 3 1 250
PARAM M2 3 1 250
PARAM LEVEL 20 0 100
K: "KDJ.K"(N,M1,M2);
D: "KDJ.D"(N,M1,M2);
PASS: CROSS(K,D) AND D<LEVEL;
END

# source: R. Donchian's N-bar breakout; volume confirmation as in J. Murphy (1999), ch. 7
FORMULA SCR_BREAKOUT "Breakout on volume (放量突破): close above the highest high of the N bars before, on K times the M-bar average volume"
PARAM N 20 1 500
PARAM K 2 1 20
PARAM M 5 1 250
TOP: REF(HHV(HIGH,N),1);
VOLRATIO: VOL/REF(MA(VOL,M),1);
PASS: CLOSE>TOP AND VOLRATIO>=K;
END

# source: J. Bollinger, Bollinger on Bollinger Bands (2001): a close back inside the lower band
FORMULA SCR_BOLL_REBOUND "BOLL lower-band rebound (布林下轨反弹): the close was below the lower band on the bar before and is above it now"
PARAM N 20 1 250
PARAM UP 2 -100 100
PARAM DOWN -2 -100 100
LOWER: "BOLL.LOWER"(N,UP,DOWN);
MID: "BOLL.MID"(N,UP,DOWN);
PASS: REF(CLOSE,1)<REF(LOWER,1) AND CLOSE>LOWER;
END

# source: gaps, J. Murphy (1999), ch. 4
FORMULA SCR_GAP_UP "Gap up (向上跳空): the low is above the high of the bar before by more than PCT percent"
PARAM PCT 0 0 50
GAP: (LOW-REF(HIGH,1))/REF(HIGH,1)*100;
PASS: LOW>REF(HIGH,1) AND GAP>PCT;
END

# source: volume spikes, J. Murphy (1999), ch. 7
FORMULA SCR_VOLUME_SURGE "Volume surge on a rising bar (放量上涨): volume K times the M bars' average before it, and the close above the open and the close before"
PARAM K 3 1 50
PARAM M 5 1 250
VOLRATIO: VOL/REF(MA(VOL,M),1);
CHANGE: (CLOSE/REF(CLOSE,1)-1)*100;
PASS: VOLRATIO>=K AND CLOSE>OPEN AND CHANGE>0;
END

# source: J. W. Wilder, New Concepts in Technical Trading Systems (1978): RSI leaving the oversold zone
FORMULA SCR_RSI_OVERSOLD "RSI leaves oversold (RSI超卖回升): RSI(N) crosses above LEVEL"
PARAM N 6 1 250
PARAM LEVEL 20 0 100
RSI: "RSI.RSI1"(N);
PASS: CROSS(RSI,LEVEL);
END

# source: moving averages in order, J. Murphy (1999), ch. 9 (the "ribbon")
FORMULA SCR_MA_BULL "Moving averages in bullish order (均线多头排列): MA(C,N1) > MA(C,N2) > MA(C,N3) > MA(C,N4), all rising"
PARAM N1 5 1 250
PARAM N2 10 1 250
PARAM N3 20 1 250
PARAM N4 60 1 500
MA1: MA(CLOSE,N1);
MA2: MA(CLOSE,N2);
MA3: MA(CLOSE,N3);
MA4: MA(CLOSE,N4);
PASS: MA1>MA2 AND MA2>MA3 AND MA3>MA4 AND MA1>REF(MA1,1) AND MA4>REF(MA4,1);
END

# source: J. Murphy (1999), ch. 9: a pullback to a rising average
FORMULA SCR_PULLBACK "Pullback to a rising average (回踩均线): MA(C,N) above its value M bars before, the low reaches it and the close stays above"
PARAM N 20 1 250
PARAM M 5 1 250
AVERAGE: MA(CLOSE,N);
PASS: AVERAGE>REF(AVERAGE,M) AND LOW<=AVERAGE AND CLOSE>AVERAGE;
END

# source: J. W. Wilder (1978): the directional indicators' crossing, with ADX above LEVEL for a trend
FORMULA SCR_DMI_CROSS "DMI bullish cross (DMI金叉): PDI crosses above MDI while ADX > LEVEL"
PARAM N 14 1 250
PARAM M 6 1 250
PARAM LEVEL 20 0 100
PDI: "DMI.PDI"(N,M);
MDI: "DMI.MDI"(N,M);
ADX: "DMI.ADX"(N,M);
PASS: CROSS(PDI,MDI) AND ADX>LEVEL;
END

# source: J. W. Wilder (1978): the parabolic SAR turning up
FORMULA SCR_SAR_TURN "SAR turns up (SAR翻红): the parabolic stop flips below the price on the last bar"
PARAM N 10 1 250
SAR: "SAR.SAR"(N);
PASS: "SAR.DIRECTION"(N)>0 AND REF("SAR.DIRECTION"(N),1)<0;
END

# source: new highs, W. O'Neil, How to Make Money in Stocks (1988): closes at an N-bar high
FORMULA SCR_NEW_HIGH "New N-bar closing high (创新高): the close is the highest close of the last N bars"
PARAM N 250 2 1000
TOP: HHV(CLOSE,N);
PASS: CLOSE>=TOP AND BARSCOUNT(CLOSE)>=N;
END
