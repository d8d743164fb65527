# Candlestick patterns. Each entry has one output line, 1 on the bar that completes
# the pattern and 0 elsewhere (0 also on the first bars, before its averages exist).
# Shared terms, as every description uses them:
#   body = |C-O|; range = H-L; upper shadow = H-MAX(O,C); lower shadow = MIN(O,C)-L;
#   white = C>O, black = C<O; avg body = MA(body,10) (the bar's own 10-bar average, itself included);
#   long body = body > avg body; short body = body < avg body; doji = range>0 AND body <= 0.1*range.
#   Bar 1 is the pattern's first bar; the last bar completes it.
#   Trend context, for a pattern of k bars: after a decline = the close of the bar before bar 1
#   is below its N-bar MA, REF(C,k) < REF(MA(C,N),k); after a rise = REF(C,k) > REF(MA(C,N),k).

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), doji
# note: TA-Lib measures the doji body against the 10-bar average range; the bar's own range is used here, as Nison defines a doji by its own open and close
FORMULA CDLDOJI "Doji (十字星): range>0 AND body <= 0.1*range"
RNG:=H-L;
CDLDOJI: RNG>0 AND ABS(C-O)<=0.1*RNG;
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), dragonfly doji; TA-Lib function documentation (ta-lib.org), CDLDRAGONFLYDOJI
FORMULA CDLDRAGONFLY "Dragonfly doji (蜻蜓十字): range>0 AND body <= 0.1*range AND upper shadow <= 0.1*range (so the lower shadow is at least 0.8*range); no trend rule"
RNG:=H-L;
CDLDRAGONFLY: RNG>0 AND ABS(C-O)<=0.1*RNG AND H-MAX(O,C)<=0.1*RNG;
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), gravestone doji; TA-Lib function documentation (ta-lib.org), CDLGRAVESTONEDOJI
FORMULA CDLGRAVESTONE "Gravestone doji (墓碑十字): range>0 AND body <= 0.1*range AND lower shadow <= 0.1*range (so the upper shadow is at least 0.8*range); no trend rule"
RNG:=H-L;
CDLGRAVESTONE: RNG>0 AND ABS(C-O)<=0.1*RNG AND MIN(O,C)-L<=0.1*RNG;
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), long-legged doji
# note: TA-Lib asks for one or two long shadows; Nison's long upper AND lower shadows are followed, plus a range longer than average
FORMULA CDLLONGLEGGEDDOJI "Long-legged doji (长腿十字): range>0 AND body <= 0.1*range AND upper shadow >= 0.3*range AND lower shadow >= 0.3*range AND range > MA(range,10)"
RNG:=H-L;
BODY:=ABS(C-O);
CDLLONGLEGGEDDOJI: IF(BARPOS>=10, RNG>0 AND BODY<=0.1*RNG AND H-MAX(O,C)>=0.3*RNG AND MIN(O,C)-L>=0.3*RNG AND RNG>MA(RNG,10), 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), hammer
# note: TA-Lib tests the bar's position against the previous bar instead of a trend; Nison's downtrend requirement is followed, written as a close below its N-bar MA
FORMULA CDLHAMMER "Hammer (锤子线): after a decline REF(C,1) < REF(MA(C,N),1); body>0 AND lower shadow >= 2*body AND upper shadow <= 0.1*range (small body at the top of the range)"
PARAM N 10 2 250
BODY:=ABS(C-O);
DN:=REF(C,1)<REF(MA(C,N),1);
CDLHAMMER: IF(BARPOS>=N+1, DN AND BODY>0 AND MIN(O,C)-L>=2*BODY AND H-MAX(O,C)<=0.1*(H-L), 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), hanging man
FORMULA CDLHANGINGMAN "Hanging man (上吊线): after a rise REF(C,1) > REF(MA(C,N),1); body>0 AND lower shadow >= 2*body AND upper shadow <= 0.1*range (the hammer's shape at a top)"
PARAM N 10 2 250
BODY:=ABS(C-O);
UP:=REF(C,1)>REF(MA(C,N),1);
CDLHANGINGMAN: IF(BARPOS>=N+1, UP AND BODY>0 AND MIN(O,C)-L>=2*BODY AND H-MAX(O,C)<=0.1*(H-L), 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), inverted hammer
# note: TA-Lib also asks for a gap below the previous body; Nison's shape after a downtrend is followed without the gap
FORMULA CDLINVERTEDHAMMER "Inverted hammer (倒锤子线): after a decline REF(C,1) < REF(MA(C,N),1); body>0 AND upper shadow >= 2*body AND lower shadow <= 0.1*range (small body at the bottom of the range)"
PARAM N 10 2 250
BODY:=ABS(C-O);
DN:=REF(C,1)<REF(MA(C,N),1);
CDLINVERTEDHAMMER: IF(BARPOS>=N+1, DN AND BODY>0 AND H-MAX(O,C)>=2*BODY AND MIN(O,C)-L<=0.1*(H-L), 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), shooting star
# note: Nison prefers a gap above the previous body but does not require it; no gap is tested
FORMULA CDLSHOOTINGSTAR "Shooting star (射击之星): after a rise REF(C,1) > REF(MA(C,N),1); body>0 AND upper shadow >= 2*body AND lower shadow <= 0.1*range (the inverted hammer's shape at a top)"
PARAM N 10 2 250
BODY:=ABS(C-O);
UP:=REF(C,1)>REF(MA(C,N),1);
CDLSHOOTINGSTAR: IF(BARPOS>=N+1, UP AND BODY>0 AND H-MAX(O,C)>=2*BODY AND MIN(O,C)-L<=0.1*(H-L), 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), bullish engulfing pattern; TA-Lib function documentation (ta-lib.org), CDLENGULFING
FORMULA CDLBULLENGULF "Bullish engulfing (看涨吞没): after a decline REF(C,2) < REF(MA(C,N),2); bar 1 black; bar 2 white with O <= bar 1 close AND C >= bar 1 open AND body > bar 1 body"
PARAM N 10 2 250
BODY:=ABS(C-O);
DN:=REF(C,2)<REF(MA(C,N),2);
CDLBULLENGULF: IF(BARPOS>=N+2, DN AND REF(C,1)<REF(O,1) AND C>O AND O<=REF(C,1) AND C>=REF(O,1) AND BODY>REF(BODY,1), 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), bearish engulfing pattern; TA-Lib function documentation (ta-lib.org), CDLENGULFING
FORMULA CDLBEARENGULF "Bearish engulfing (看跌吞没): after a rise REF(C,2) > REF(MA(C,N),2); bar 1 white; bar 2 black with O >= bar 1 close AND C <= bar 1 open AND body > bar 1 body"
PARAM N 10 2 250
BODY:=ABS(C-O);
UP:=REF(C,2)>REF(MA(C,N),2);
CDLBEARENGULF: IF(BARPOS>=N+2, UP AND REF(C,1)>REF(O,1) AND C<O AND O>=REF(C,1) AND C<=REF(O,1) AND BODY>REF(BODY,1), 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), harami; TA-Lib function documentation (ta-lib.org), CDLHARAMI
# note: TA-Lib has no trend rule; Nison's requirement of a prior downtrend is followed
FORMULA CDLBULLHARAMI "Bullish harami (看涨孕线): after a decline REF(C,2) < REF(MA(C,N),2); bar 1 long black; bar 2 short body (either colour) with MAX(O,C) <= bar 1 open AND MIN(O,C) >= bar 1 close"
PARAM N 10 2 250
BODY:=ABS(C-O);
AVB:=MA(BODY,10);
DN:=REF(C,2)<REF(MA(C,N),2);
CDLBULLHARAMI: IF(BARPOS>=MAX(N,10)+2, DN AND REF(C,1)<REF(O,1) AND REF(BODY,1)>REF(AVB,1) AND BODY<AVB AND MAX(O,C)<=REF(O,1) AND MIN(O,C)>=REF(C,1), 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), harami; TA-Lib function documentation (ta-lib.org), CDLHARAMI
# note: TA-Lib has no trend rule; Nison's requirement of a prior uptrend is followed
FORMULA CDLBEARHARAMI "Bearish harami (看跌孕线): after a rise REF(C,2) > REF(MA(C,N),2); bar 1 long white; bar 2 short body (either colour) with MAX(O,C) <= bar 1 close AND MIN(O,C) >= bar 1 open"
PARAM N 10 2 250
BODY:=ABS(C-O);
AVB:=MA(BODY,10);
UP:=REF(C,2)>REF(MA(C,N),2);
CDLBEARHARAMI: IF(BARPOS>=MAX(N,10)+2, UP AND REF(C,1)>REF(O,1) AND REF(BODY,1)>REF(AVB,1) AND BODY<AVB AND MAX(O,C)<=REF(C,1) AND MIN(O,C)>=REF(O,1), 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), piercing pattern; TA-Lib function documentation (ta-lib.org), CDLPIERCING
FORMULA CDLPIERCING "Piercing line (刺透形态): after a decline REF(C,2) < REF(MA(C,N),2); bar 1 long black; bar 2 white opening below bar 1 low (O < REF(L,1)) and closing above bar 1 body midpoint but below bar 1 open"
PARAM N 10 2 250
BODY:=ABS(C-O);
AVB:=MA(BODY,10);
DN:=REF(C,2)<REF(MA(C,N),2);
CDLPIERCING: IF(BARPOS>=MAX(N,10)+2, DN AND REF(C,1)<REF(O,1) AND REF(BODY,1)>REF(AVB,1) AND C>O AND O<REF(L,1) AND C>(REF(O,1)+REF(C,1))/2 AND C<REF(O,1), 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), dark-cloud cover; TA-Lib function documentation (ta-lib.org), CDLDARKCLOUDCOVER
FORMULA CDLDARKCLOUD "Dark cloud cover (乌云盖顶): after a rise REF(C,2) > REF(MA(C,N),2); bar 1 long white; bar 2 black opening above bar 1 high (O > REF(H,1)) and closing below bar 1 body midpoint but above bar 1 open"
PARAM N 10 2 250
BODY:=ABS(C-O);
AVB:=MA(BODY,10);
UP:=REF(C,2)>REF(MA(C,N),2);
CDLDARKCLOUD: IF(BARPOS>=MAX(N,10)+2, UP AND REF(C,1)>REF(O,1) AND REF(BODY,1)>REF(AVB,1) AND C<O AND O>REF(H,1) AND C<(REF(O,1)+REF(C,1))/2 AND C>REF(O,1), 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), morning star; TA-Lib function documentation (ta-lib.org), CDLMORNINGSTAR
# note: TA-Lib asks bar 3 to close 30% into bar 1 body; Nison's well into it is written as above its midpoint
FORMULA CDLMORNINGSTAR "Morning star (启明星): after a decline REF(C,3) < REF(MA(C,N),3); bar 1 long black; bar 2 short body whose top MAX(O,C) is below bar 1 close (body gap); bar 3 white closing above bar 1 body midpoint"
PARAM N 10 2 250
BODY:=ABS(C-O);
AVB:=MA(BODY,10);
DN:=REF(C,3)<REF(MA(C,N),3);
CDLMORNINGSTAR: IF(BARPOS>=MAX(N,10)+3, DN AND REF(C,2)<REF(O,2) AND REF(BODY,2)>REF(AVB,2) AND REF(BODY,1)<REF(AVB,1) AND REF(MAX(O,C),1)<REF(C,2) AND C>O AND C>(REF(O,2)+REF(C,2))/2, 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), evening star; TA-Lib function documentation (ta-lib.org), CDLEVENINGSTAR
# note: TA-Lib asks bar 3 to close 30% into bar 1 body; Nison's well into it is written as below its midpoint
FORMULA CDLEVENINGSTAR "Evening star (黄昏星): after a rise REF(C,3) > REF(MA(C,N),3); bar 1 long white; bar 2 short body whose bottom MIN(O,C) is above bar 1 close (body gap); bar 3 black closing below bar 1 body midpoint"
PARAM N 10 2 250
BODY:=ABS(C-O);
AVB:=MA(BODY,10);
UP:=REF(C,3)>REF(MA(C,N),3);
CDLEVENINGSTAR: IF(BARPOS>=MAX(N,10)+3, UP AND REF(C,2)>REF(O,2) AND REF(BODY,2)>REF(AVB,2) AND REF(BODY,1)<REF(AVB,1) AND REF(MIN(O,C),1)>REF(C,2) AND C<O AND C<(REF(O,2)+REF(C,2))/2, 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), morning doji star; TA-Lib function documentation (ta-lib.org), CDLMORNINGDOJISTAR
FORMULA CDLMORNINGDOJISTAR "Morning doji star (十字启明星): after a decline REF(C,3) < REF(MA(C,N),3); bar 1 long black; bar 2 doji (range>0 AND body <= 0.1*range) with MAX(O,C) below bar 1 close; bar 3 white closing above bar 1 body midpoint"
PARAM N 10 2 250
BODY:=ABS(C-O);
RNG:=H-L;
AVB:=MA(BODY,10);
DN:=REF(C,3)<REF(MA(C,N),3);
DOJ:=RNG>0 AND BODY<=0.1*RNG;
CDLMORNINGDOJISTAR: IF(BARPOS>=MAX(N,10)+3, DN AND REF(C,2)<REF(O,2) AND REF(BODY,2)>REF(AVB,2) AND REF(DOJ,1) AND REF(MAX(O,C),1)<REF(C,2) AND C>O AND C>(REF(O,2)+REF(C,2))/2, 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), evening doji star; TA-Lib function documentation (ta-lib.org), CDLEVENINGDOJISTAR
FORMULA CDLEVENINGDOJISTAR "Evening doji star (十字黄昏星): after a rise REF(C,3) > REF(MA(C,N),3); bar 1 long white; bar 2 doji (range>0 AND body <= 0.1*range) with MIN(O,C) above bar 1 close; bar 3 black closing below bar 1 body midpoint"
PARAM N 10 2 250
BODY:=ABS(C-O);
RNG:=H-L;
AVB:=MA(BODY,10);
UP:=REF(C,3)>REF(MA(C,N),3);
DOJ:=RNG>0 AND BODY<=0.1*RNG;
CDLEVENINGDOJISTAR: IF(BARPOS>=MAX(N,10)+3, UP AND REF(C,2)>REF(O,2) AND REF(BODY,2)>REF(AVB,2) AND REF(DOJ,1) AND REF(MIN(O,C),1)>REF(C,2) AND C<O AND C<(REF(O,2)+REF(C,2))/2, 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), three advancing white soldiers; TA-Lib function documentation (ta-lib.org), CDL3WHITESOLDIERS
# note: TA-Lib has no trend rule; Nison's setting after a decline is followed
FORMULA CDL3WHITESOLDIERS "Three white soldiers (红三兵): after a decline REF(C,3) < REF(MA(C,N),3); three white long bodies each with upper shadow <= 0.2*range; bars 2 and 3 close above the previous close and open within the previous body (O > its open, O <= its close)"
PARAM N 10 2 250
BODY:=ABS(C-O);
AVB:=MA(BODY,10);
DN:=REF(C,3)<REF(MA(C,N),3);
WS:=C>O AND BODY>AVB AND H-C<=0.2*(H-L);
STEP:=C>REF(C,1) AND O>REF(O,1) AND O<=REF(C,1);
CDL3WHITESOLDIERS: IF(BARPOS>=MAX(N,10)+3, DN AND WS AND REF(WS,1) AND REF(WS,2) AND STEP AND REF(STEP,1), 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), three black crows; TA-Lib function documentation (ta-lib.org), CDL3BLACKCROWS
FORMULA CDL3BLACKCROWS "Three black crows (三只乌鸦): after a rise REF(C,3) > REF(MA(C,N),3); three black long bodies each with lower shadow <= 0.2*range; bars 2 and 3 close below the previous close and open within the previous body (O < its open, O >= its close)"
PARAM N 10 2 250
BODY:=ABS(C-O);
AVB:=MA(BODY,10);
UP:=REF(C,3)>REF(MA(C,N),3);
BC:=C<O AND BODY>AVB AND C-L<=0.2*(H-L);
STEP:=C<REF(C,1) AND O<REF(O,1) AND O>=REF(C,1);
CDL3BLACKCROWS: IF(BARPOS>=MAX(N,10)+3, UP AND BC AND REF(BC,1) AND REF(BC,2) AND STEP AND REF(STEP,1), 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), marubozu; TA-Lib function documentation (ta-lib.org), CDLMARUBOZU
# note: Nison's marubozu has no shadow at all; a tolerance of 5% of the range per shadow is allowed, in the spirit of TA-Lib's very short shadow
FORMULA CDLWHITEMARUBOZU "White marubozu (光头光脚阳线): white long body (C>O AND body > MA(body,10)) with upper shadow <= 0.05*range AND lower shadow <= 0.05*range"
BODY:=ABS(C-O);
RNG:=H-L;
CDLWHITEMARUBOZU: IF(BARPOS>=10, C>O AND BODY>MA(BODY,10) AND H-C<=0.05*RNG AND O-L<=0.05*RNG, 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), marubozu; TA-Lib function documentation (ta-lib.org), CDLMARUBOZU
# note: Nison's marubozu has no shadow at all; a tolerance of 5% of the range per shadow is allowed, in the spirit of TA-Lib's very short shadow
FORMULA CDLBLACKMARUBOZU "Black marubozu (光头光脚阴线): black long body (C<O AND body > MA(body,10)) with upper shadow <= 0.05*range AND lower shadow <= 0.05*range"
BODY:=ABS(C-O);
RNG:=H-L;
CDLBLACKMARUBOZU: IF(BARPOS>=10, C<O AND BODY>MA(BODY,10) AND H-O<=0.05*RNG AND C-L<=0.05*RNG, 0);
END

# source: TA-Lib function documentation (ta-lib.org), CDLSPINNINGTOP; Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), spinning tops
# note: TA-Lib also counts a zero body; a real body (not a doji) is required here, as Nison separates spinning tops from doji
FORMULA CDLSPINNINGTOP "Spinning top (纺锤线): body > 0.1*range (not a doji) AND short body (body < MA(body,10)) AND upper shadow > body AND lower shadow > body"
BODY:=ABS(C-O);
CDLSPINNINGTOP: IF(BARPOS>=10, BODY>0.1*(H-L) AND BODY<MA(BODY,10) AND H-MAX(O,C)>BODY AND MIN(O,C)-L>BODY, 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), tweezers top; Thomas Bulkowski, Encyclopedia of Candlestick Charts (2008), tweezers top
# note: Nison asks only for matching highs; Bulkowski's white-then-black is followed; matching = within 5% of the 10-bar average range
FORMULA CDLTWEEZERTOP "Tweezer top (平头顶部): after a rise REF(C,2) > REF(MA(C,N),2); bar 1 white, bar 2 black, highs equal within 5% of the average range: ABS(H-REF(H,1)) <= 0.05*MA(H-L,10)"
PARAM N 10 2 250
UP:=REF(C,2)>REF(MA(C,N),2);
CDLTWEEZERTOP: IF(BARPOS>=MAX(N,10)+2, UP AND REF(C,1)>REF(O,1) AND C<O AND ABS(H-REF(H,1))<=0.05*MA(H-L,10), 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), tweezers bottom; Thomas Bulkowski, Encyclopedia of Candlestick Charts (2008), tweezers bottom
# note: Nison asks only for matching lows; Bulkowski's black-then-white is followed; matching = within 5% of the 10-bar average range
FORMULA CDLTWEEZERBOTTOM "Tweezer bottom (平头底部): after a decline REF(C,2) < REF(MA(C,N),2); bar 1 black, bar 2 white, lows equal within 5% of the average range: ABS(L-REF(L,1)) <= 0.05*MA(H-L,10)"
PARAM N 10 2 250
DN:=REF(C,2)<REF(MA(C,N),2);
CDLTWEEZERBOTTOM: IF(BARPOS>=MAX(N,10)+2, DN AND REF(C,1)<REF(O,1) AND C>O AND ABS(L-REF(L,1))<=0.05*MA(H-L,10), 0);
END

# source: TA-Lib function documentation (ta-lib.org), CDL3INSIDE; Steve Nison, Japanese Candlestick Charting Techniques (2001), three inside up
FORMULA CDL3INSIDEUP "Three inside up (三内部上涨): after a decline REF(C,3) < REF(MA(C,N),3); bars 1-2 a bullish harami (bar 1 long black, bar 2 short body within bar 1 body); bar 3 white closing above bar 1 open"
PARAM N 10 2 250
BODY:=ABS(C-O);
AVB:=MA(BODY,10);
DN:=REF(C,3)<REF(MA(C,N),3);
CDL3INSIDEUP: IF(BARPOS>=MAX(N,10)+3, DN AND REF(C,2)<REF(O,2) AND REF(BODY,2)>REF(AVB,2) AND REF(BODY,1)<REF(AVB,1) AND REF(MAX(O,C),1)<=REF(O,2) AND REF(MIN(O,C),1)>=REF(C,2) AND C>O AND C>REF(O,2), 0);
END

# source: TA-Lib function documentation (ta-lib.org), CDL3INSIDE; Steve Nison, Japanese Candlestick Charting Techniques (2001), three inside down
FORMULA CDL3INSIDEDOWN "Three inside down (三内部下跌): after a rise REF(C,3) > REF(MA(C,N),3); bars 1-2 a bearish harami (bar 1 long white, bar 2 short body within bar 1 body); bar 3 black closing below bar 1 open"
PARAM N 10 2 250
BODY:=ABS(C-O);
AVB:=MA(BODY,10);
UP:=REF(C,3)>REF(MA(C,N),3);
CDL3INSIDEDOWN: IF(BARPOS>=MAX(N,10)+3, UP AND REF(C,2)>REF(O,2) AND REF(BODY,2)>REF(AVB,2) AND REF(BODY,1)<REF(AVB,1) AND REF(MAX(O,C),1)<=REF(C,2) AND REF(MIN(O,C),1)>=REF(O,2) AND C<O AND C<REF(O,2), 0);
END

# source: TA-Lib function documentation (ta-lib.org), CDL3OUTSIDE; Steve Nison, Japanese Candlestick Charting Techniques (2001), three outside up
FORMULA CDL3OUTSIDEUP "Three outside up (三外部上涨): after a decline REF(C,3) < REF(MA(C,N),3); bars 1-2 a bullish engulfing (bar 1 black, bar 2 white, O <= bar 1 close, C >= bar 1 open, larger body); bar 3 closes above bar 2 close"
PARAM N 10 2 250
BODY:=ABS(C-O);
DN:=REF(C,3)<REF(MA(C,N),3);
ENG:=REF(C,1)<REF(O,1) AND C>O AND O<=REF(C,1) AND C>=REF(O,1) AND BODY>REF(BODY,1);
CDL3OUTSIDEUP: IF(BARPOS>=N+3, DN AND REF(ENG,1) AND C>REF(C,1), 0);
END

# source: TA-Lib function documentation (ta-lib.org), CDL3OUTSIDE; Steve Nison, Japanese Candlestick Charting Techniques (2001), three outside down
FORMULA CDL3OUTSIDEDOWN "Three outside down (三外部下跌): after a rise REF(C,3) > REF(MA(C,N),3); bars 1-2 a bearish engulfing (bar 1 white, bar 2 black, O >= bar 1 close, C <= bar 1 open, larger body); bar 3 closes below bar 2 close"
PARAM N 10 2 250
BODY:=ABS(C-O);
UP:=REF(C,3)>REF(MA(C,N),3);
ENG:=REF(C,1)>REF(O,1) AND C<O AND O>=REF(C,1) AND C<=REF(O,1) AND BODY>REF(BODY,1);
CDL3OUTSIDEDOWN: IF(BARPOS>=N+3, UP AND REF(ENG,1) AND C<REF(C,1), 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), kicker; TA-Lib function documentation (ta-lib.org), CDLKICKING
# note: no trend rule (neither source requires one); marubozu = long body with each shadow <= 0.05*range, as in CDLWHITEMARUBOZU
FORMULA CDLBULLKICKING "Bullish kicking (看涨反冲): bar 1 black marubozu; bar 2 white marubozu gapping up, L > bar 1 high; marubozu = long body (body > MA(body,10)) AND each shadow <= 0.05*range"
BODY:=ABS(C-O);
RNG:=H-L;
MB:=BODY>MA(BODY,10) AND H-MAX(O,C)<=0.05*RNG AND MIN(O,C)-L<=0.05*RNG;
CDLBULLKICKING: IF(BARPOS>=11, REF(C,1)<REF(O,1) AND REF(MB,1) AND C>O AND MB AND L>REF(H,1), 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), kicker; TA-Lib function documentation (ta-lib.org), CDLKICKING
# note: no trend rule (neither source requires one); marubozu = long body with each shadow <= 0.05*range, as in CDLBLACKMARUBOZU
FORMULA CDLBEARKICKING "Bearish kicking (看跌反冲): bar 1 white marubozu; bar 2 black marubozu gapping down, H < bar 1 low; marubozu = long body (body > MA(body,10)) AND each shadow <= 0.05*range"
BODY:=ABS(C-O);
RNG:=H-L;
MB:=BODY>MA(BODY,10) AND H-MAX(O,C)<=0.05*RNG AND MIN(O,C)-L<=0.05*RNG;
CDLBEARKICKING: IF(BARPOS>=11, REF(C,1)>REF(O,1) AND REF(MB,1) AND C<O AND MB AND H<REF(L,1), 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), rising three methods; TA-Lib function documentation (ta-lib.org), CDLRISEFALL3METHODS
# note: Nison's small bodies are ideally black; their colour is not tested. Bar 5 opening above bar 4 close follows TA-Lib
FORMULA CDLRISING3METHODS "Rising three methods (上升三法): after a rise REF(C,5) > REF(MA(C,N),5); bar 1 long white; bars 2-4 short bodies with highs <= bar 1 high and lows >= bar 1 low; bar 5 long white, O > bar 4 close, C > bar 1 close"
PARAM N 10 2 250
BODY:=ABS(C-O);
AVB:=MA(BODY,10);
UP:=REF(C,5)>REF(MA(C,N),5);
SMALL3:=REF(EVERY(BODY<AVB,3),1) AND REF(HHV(H,3),1)<=REF(H,4) AND REF(LLV(L,3),1)>=REF(L,4);
CDLRISING3METHODS: IF(BARPOS>=MAX(N,10)+5, UP AND REF(C,4)>REF(O,4) AND REF(BODY,4)>REF(AVB,4) AND SMALL3 AND C>O AND BODY>AVB AND O>REF(C,1) AND C>REF(C,4), 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), falling three methods; TA-Lib function documentation (ta-lib.org), CDLRISEFALL3METHODS
# note: Nison's small bodies are ideally white; their colour is not tested. Bar 5 opening below bar 4 close follows TA-Lib
FORMULA CDLFALLING3METHODS "Falling three methods (下降三法): after a decline REF(C,5) < REF(MA(C,N),5); bar 1 long black; bars 2-4 short bodies with highs <= bar 1 high and lows >= bar 1 low; bar 5 long black, O < bar 4 close, C < bar 1 close"
PARAM N 10 2 250
BODY:=ABS(C-O);
AVB:=MA(BODY,10);
DN:=REF(C,5)<REF(MA(C,N),5);
SMALL3:=REF(EVERY(BODY<AVB,3),1) AND REF(HHV(H,3),1)<=REF(H,4) AND REF(LLV(L,3),1)>=REF(L,4);
CDLFALLING3METHODS: IF(BARPOS>=MAX(N,10)+5, DN AND REF(C,4)<REF(O,4) AND REF(BODY,4)>REF(AVB,4) AND SMALL3 AND C<O AND BODY>AVB AND O<REF(C,1) AND C<REF(C,4), 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), abandoned baby; TA-Lib function documentation (ta-lib.org), CDLABANDONEDBABY
# note: TA-Lib also asks bar 3 to close 30% into bar 1 body; Nison's shadow gaps on both sides of the doji are what is tested
FORMULA CDLBULLABANDONEDBABY "Bullish abandoned baby (看涨弃婴): after a decline REF(C,3) < REF(MA(C,N),3); bar 1 long black; bar 2 doji (range>0 AND body <= 0.1*range) with H < bar 1 low; bar 3 white with L > bar 2 high"
PARAM N 10 2 250
BODY:=ABS(C-O);
RNG:=H-L;
AVB:=MA(BODY,10);
DN:=REF(C,3)<REF(MA(C,N),3);
DOJ:=RNG>0 AND BODY<=0.1*RNG;
CDLBULLABANDONEDBABY: IF(BARPOS>=MAX(N,10)+3, DN AND REF(C,2)<REF(O,2) AND REF(BODY,2)>REF(AVB,2) AND REF(DOJ,1) AND REF(H,1)<REF(L,2) AND C>O AND L>REF(H,1), 0);
END

# source: Steve Nison, Japanese Candlestick Charting Techniques (1991/2001), abandoned baby; TA-Lib function documentation (ta-lib.org), CDLABANDONEDBABY
# note: TA-Lib also asks bar 3 to close 30% into bar 1 body; Nison's shadow gaps on both sides of the doji are what is tested
FORMULA CDLBEARABANDONEDBABY "Bearish abandoned baby (看跌弃婴): after a rise REF(C,3) > REF(MA(C,N),3); bar 1 long white; bar 2 doji (range>0 AND body <= 0.1*range) with L > bar 1 high; bar 3 black with H < bar 2 low"
PARAM N 10 2 250
BODY:=ABS(C-O);
RNG:=H-L;
AVB:=MA(BODY,10);
UP:=REF(C,3)>REF(MA(C,N),3);
DOJ:=RNG>0 AND BODY<=0.1*RNG;
CDLBEARABANDONEDBABY: IF(BARPOS>=MAX(N,10)+3, UP AND REF(C,2)>REF(O,2) AND REF(BODY,2)>REF(AVB,2) AND REF(DOJ,1) AND REF(L,1)>REF(H,2) AND C<O AND H<REF(L,1), 0);
END
