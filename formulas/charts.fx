# Chart constructions drawn over the price bars.

# source: Dan Valcu, Using the Heikin-Ashi Technique, Technical Analysis of Stocks & Commodities (February 2004)
# note: the first bar's HA open is seeded with (O+C)/2 of that bar; later HA opens are the recurrence DMA(previous HA close, 0.5)
FORMULA HEIKINASHI "Heikin-Ashi (平均K线): HACLOSE=(O+H+L+C)/4; HAOPEN=(previous HAOPEN + previous HACLOSE)/2, seeded (O+C)/2; HAHIGH=MAX(H,HAOPEN,HACLOSE); HALOW=MIN(L,HAOPEN,HACLOSE)" OVERLAY
HC:=(O+H+L+C)/4;
HO:=DMA(IF(BARPOS=1,(O+C)/2,REF(HC,1)),0.5);
HAOPEN:HO;
HAHIGH:MAX(H,MAX(HO,HC));
HALOW:MIN(L,MIN(HO,HC));
HACLOSE:HC;
END

# source: Goichi Hosoda, Ichimoku Kinko Hyo (1969); Nicole Elliott, Ichimoku Charts (2007)
# note: SPANA and SPANB are the values at the bar itself; the usual drawing shifts them P2 bars forward (and the lagging span back), which is left to the chart
FORMULA ICHIMOKU "Ichimoku (一目均衡表): TENKAN=(HHV(H,P1)+LLV(L,P1))/2; KIJUN=(HHV(H,P2)+LLV(L,P2))/2; SPANA=(TENKAN+KIJUN)/2; SPANB=(HHV(H,P3)+LLV(L,P3))/2; spans not shifted forward" OVERLAY
PARAM P1 9 1 250
PARAM P2 26 1 250
PARAM P3 52 1 500
TENKAN:(HHV(H,P1)+LLV(L,P1))/2;
KIJUN:(HHV(H,P2)+LLV(L,P2))/2;
SPANA:(TENKAN+KIJUN)/2;
SPANB:(HHV(H,P3)+LLV(L,P3))/2;
END

# source: Berkowitz, Logue and Noser, The Total Cost of Transactions on the NYSE, Journal of Finance (1988), volume-weighted average price
# note: the session restarts at each new DATE; a session's first bar (and a session with no volume yet) gives the typical price itself
FORMULA VWAP "Session volume-weighted average price (成交量加权均价): TP=(H+L+C)/3; SUM(TP*V,K)/SUM(V,K) over the K bars since the day's first bar (DATE changes); TP when K=1 or the volume sum is 0" OVERLAY
TP:=(H+L+C)/3;
NEWDAY:=BARPOS=1 OR DATE<>REF(DATE,1);
K:=BARSLAST(NEWDAY)+1;
SV:=SUM(V,K);
VWAP:IF(K=1 OR SV=0, TP, SUM(TP*V,K)/SV);
END
