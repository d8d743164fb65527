// The chart page of `fenxi view`: draws the data the tool embedded (bars,
// lines, D/K points, tactics, tips, derived charts) with Lightweight Charts.
// Nothing is computed here: every value comes from the engine.
(function () {
  'use strict';
  const LC = window.LightweightCharts;
  const data = JSON.parse(document.getElementById('fenxi-data').textContent);
  const colors = ['#e6a817', '#2e86de', '#c0392b', '#8e44ad', '#16a085', '#d35400', '#7f8c8d'];
  const up = '#d64541', down = '#1e9e5a';  // rising red, falling green, as on Chinese charts

  const app = document.getElementById('app');
  app.innerHTML = `
    <header><h1></h1><nav>
      <button data-kind="plain" class="on">Bars</button><button data-kind="break">Line break</button>
      <button data-kind="brick">Bricks</button><button data-kind="reversal">Reversal</button></nav></header>
    <main><section><div id="legend"></div><div id="chart"></div><div id="derived" hidden></div></section>
      <aside><h2>Tips for the last bar</h2><pre id="tips"></pre><h2>Points</h2><div id="point"></div>
      <p class="note">Charts by <a href="https://www.tradingview.com/">TradingView</a> Lightweight Charts
      (Apache-2.0).</p></aside></main>`;
  app.querySelector('h1').textContent = data.title;
  const tips = data.tips;
  app.querySelector('#tips').textContent =
    `[short-term]\n${tips['short-term'] || '(no tip for this bar)'}\n[long-term]\n${tips['long-term'] || '(no tip for this bar)'}`;

  const day = (s) => new Date(s * 1000).toISOString().slice(0, data.intraday ? 16 : 10).replace('T', ' ');
  // Bars come as columns (time, open, high, low, close, volume), lines as
  // arrays aligned with them. The chart holds the bars from `from` on: the
  // last few thousand first, earlier ones as the view scrolls to them, so a
  // long series draws at once.
  const bars = data.bars;
  const times = bars.time;
  const n = times.length;
  let from = Math.max(0, n - 3000);
  const options = (element) => ({
    autoSize: true,
    layout: { background: { color: '#ffffff' }, textColor: '#333', panes: { separatorColor: '#ddd' } },
    grid: { vertLines: { color: '#f2f2f2' }, horzLines: { color: '#f2f2f2' } },
    crosshair: { mode: LC.CrosshairMode.Normal },
    timeScale: { timeVisible: data.intraday, secondsVisible: false },
  });
  const span = (make) => { const out = []; for (let i = from; i < n; i++) out.push(make(i)); return out; };

  // The plain chart: candles and volume, overlays, oscillator panes, markers.
  const chart = LC.createChart(document.getElementById('chart'), options());
  const candles = chart.addSeries(LC.CandlestickSeries, {
    upColor: up, downColor: down, borderUpColor: up, borderDownColor: down, wickUpColor: up, wickDownColor: down,
  });
  const volume = chart.addSeries(LC.HistogramSeries, { priceScaleId: 'volume', priceFormat: { type: 'volume' } });
  volume.priceScale().applyOptions({ scaleMargins: { top: 0.8, bottom: 0 } });

  const legendSeries = [], drawn = [];
  const addLines = (group, pane) => {
    group.lines.forEach((line, k) => {
      // A formula's COLORSTICK line is a histogram, red above 0 and green below; STICK one colour.
      const attributes = line.attributes || [];
      const stick = attributes.includes('COLORSTICK') || attributes.includes('STICK');
      const color = colors[k % colors.length];
      const series = chart.addSeries(stick ? LC.HistogramSeries : LC.LineSeries, {
        color, lineWidth: 1, title: line.name, lastValueVisible: false, priceLineVisible: false,
      }, pane);
      const bar = attributes.includes('COLORSTICK')
        ? (v) => ({ value: v, color: v >= 0 ? '#e74c3c' : '#27ae60' }) : (v) => ({ value: v });
      drawn.push([series, (i) => (line.values[i] === null ? { time: times[i] } : { time: times[i], ...bar(line.values[i]) })]);
      legendSeries.push([`${group.name} ${line.name}`, series]);
    });
  };
  data.overlays.forEach((group) => addLines(group, 0));
  data.panes.forEach((group, k) => addLines(group, k + 1));
  chart.panes().forEach((pane, k) => pane.setStretchFactor(k === 0 ? 3 : 1));

  const markers = [];
  for (const p of data.points) {
    const long = p.system === 'long';
    markers.push({
      bar: p.bar, position: p.kind === 'D' ? 'belowBar' : 'aboveBar', shape: p.kind === 'D' ? 'arrowUp' : 'arrowDown',
      color: long ? (p.kind === 'D' ? '#c0392b' : '#1e8449') : (p.kind === 'D' ? '#e67e22' : '#2980b9'),
      text: `${p.kind}${long ? '' : 's'}`,
    });
  }
  for (const t of data.tactics) {
    markers.push({
      bar: t.bar, position: t.kind === 'entry' ? 'belowBar' : 'aboveBar', shape: 'square', size: 0.5,
      color: '#8e44ad', text: '',
    });
  }
  markers.sort((a, b) => a.bar - b.bar);
  const markerLayer = LC.createSeriesMarkers(candles, []);

  // Sets every series to the bars from `from` on, keeping the view where it was.
  const fill = (added) => {
    const ts = chart.timeScale();
    const range = added ? ts.getVisibleLogicalRange() : null;
    candles.setData(span((i) => ({ time: times[i], open: bars.open[i], high: bars.high[i], low: bars.low[i], close: bars.close[i] })));
    volume.setData(span((i) => ({ time: times[i], value: bars.volume[i], color: bars.close[i] >= bars.open[i] ? '#f3b0ae' : '#a9dcbf' })));
    for (const [series, point] of drawn) series.setData(span(point));
    markerLayer.setMarkers(markers.filter((m) => m.bar >= from).map(({ bar, ...m }) => ({ ...m, time: times[bar] })));
    if (range) ts.setVisibleLogicalRange({ from: range.from + added, to: range.to + added });
  };
  fill(0);
  chart.timeScale().subscribeVisibleLogicalRangeChange((range) => {
    if (!range || range.from > 50 || from === 0) return;
    const before = from;
    from = Math.max(0, from - Math.max(5000, n - from));
    fill(before - from);
  });

  // Crosshair values and, on a bar with points or tactics, what they are.
  const pointsAt = new Map();
  const note = (bar, text) => pointsAt.set(bar, [...(pointsAt.get(bar) || []), text]);
  data.points.forEach((p) => note(p.bar, `${p.system}-term ${p.kind} #${p.seq} at ${p.price}` +
    (p.kind === 'K' ? ` (closes #${p.link})` : '')));
  data.tactics.forEach((t) => note(t.bar, `${t.pool} pool ${t.kind} ${t.tactic} at ${t.price}`));
  const legend = document.getElementById('legend');
  const pointBox = document.getElementById('point');
  const index = new Map(times.map((t, i) => [t, i]));
  chart.subscribeCrosshairMove((param) => {
    const i = param.time === undefined ? n - 1 : index.get(param.time);
    if (i === undefined) return;
    const values = legendSeries.map(([name, s]) => {
      const v = param.seriesData && param.seriesData.get(s);
      return v && v.value !== undefined ? `${name} ${+v.value.toFixed(4)}` : '';
    }).filter(Boolean);
    legend.textContent = `${day(times[i])}  O ${bars.open[i]}  H ${bars.high[i]}  L ${bars.low[i]}  C ${bars.close[i]}  V ${bars.volume[i]}  ${values.join('  ')}`;
    const here = pointsAt.get(i);
    pointBox.textContent = here ? `${day(times[i])}\n${here.join('\n')}` : '';
  });
  legend.textContent = `${n} bars, ${data.points.length} D/K points`;

  // The derived charts share one chart, their bars placed one per step; the
  // axis shows each block's date.
  const derivedBox = document.getElementById('derived');
  let derived = null, derivedSeries = null;
  const show = (kind) => {
    document.querySelectorAll('nav button').forEach((b) => b.classList.toggle('on', b.dataset.kind === kind));
    document.getElementById('chart').hidden = kind !== 'plain';
    derivedBox.hidden = kind === 'plain';
    window.fenxiView.kind = kind;
    if (kind === 'plain') return;
    const chartData = data.charts[kind];
    const dates = chartData.bars.map((b) => String(b[0]).replace(/(\d{4})(\d{2})(\d{2})/, '$1-$2-$3'));
    if (!derived) {
      derived = LC.createChart(derivedBox, {
        ...options(), localization: { timeFormatter: (t) => dates[t - 1] || '' },
        timeScale: { tickMarkFormatter: (t) => derived.fenxiDates[t - 1] || '' },
      });
      derivedSeries = derived.addSeries(LC.CandlestickSeries, {
        upColor: up, downColor: down, borderUpColor: up, borderDownColor: down, wickUpColor: up, wickDownColor: down,
      });
    }
    derived.fenxiDates = dates;
    derived.applyOptions({ localization: { timeFormatter: (t) => dates[t - 1] || '' } });
    derivedSeries.setData(chartData.bars.map((b, k) => ({ time: k + 1, open: b[1], high: b[2], low: b[3], close: b[4] })));
    derived.timeScale().fitContent();
    window.fenxiView.derivedBars = chartData.bars.length;
  };
  document.querySelectorAll('nav button').forEach((b) => b.addEventListener('click', () => show(b.dataset.kind)));

  window.fenxiView = {
    ready: true, kind: 'plain', derivedBars: 0,
    // Markers of the bars the chart holds.
    get pointMarkers() { return markerLayer.markers().filter((m) => m.shape !== 'square').length; },
    get tacticMarkers() { return markerLayer.markers().filter((m) => m.shape === 'square').length; },
    get loadedBars() { return n - from; },
    show,
  };
})();
