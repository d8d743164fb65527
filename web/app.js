// The chart app of `fenxi serve`: the folder's securities, a chart of the one
// chosen with lines, panes, D/K points, tactics and tips, a formula editor, a
// screen over the folder and live bars. Every value comes from the server's
// API (docs/serve.md); the page only draws, loading bars as the view needs.
(function () {
  'use strict';
  const LC = window.LightweightCharts;
  const colors = ['#e6a817', '#2e86de', '#c0392b', '#8e44ad', '#16a085', '#d35400', '#7f8c8d'];
  const up = '#d64541', down = '#1e9e5a';  // rising red, falling green, as on Chinese charts
  const firstBars = 2000;                  // bars of the first draw; more as the view scrolls left

  const app = document.getElementById('app');
  app.innerHTML = `
    <header><h1>fenxi</h1><span id="title"></span><nav>
      <button data-kind="plain" class="on">Bars</button><button data-kind="break">Line break</button>
      <button data-kind="brick">Bricks</button><button data-kind="reversal">Reversal</button></nav>
      <span id="status"></span></header>
    <main>
      <aside id="left"><input id="search" placeholder="Search" autocomplete="off">
        <select id="sort"><option value="file">Name</option><option value="percent">Change %</option>
          <option value="close">Close</option><option value="bars">Bars</option></select>
        <table><thead><tr><th>File</th><th>Close</th><th>Chg %</th><th>Bars</th></tr></thead><tbody id="list"></tbody></table>
      </aside>
      <section>
        <div id="tools"><select id="pick"></select><input id="params" placeholder="parameters, e.g. 12,26,9" size="14">
          <button id="add-overlay">Overlay</button><button id="add-pane">Pane</button><span id="chips"></span></div>
        <div id="legend"></div><div id="chart"></div><div id="derived" hidden></div>
      </section>
      <aside id="right">
        <h2>Tips for the last bar</h2><pre id="tips"></pre>
        <h2>Point</h2><div id="point"></div>
        <h2>Formula</h2>
        <textarea id="formula" spellcheck="false" rows="5" placeholder="e.g. MID:MA(C,20); UP:MID+2*STD(C,20);"></textarea>
        <label><input type="checkbox" id="formula-overlay"> over the prices</label>
        <pre id="formula-error"></pre>
        <h2>Screen</h2>
        <select id="screen-pick"><option value="">formula text below</option></select>
        <textarea id="screen-text" spellcheck="false" rows="3" placeholder="e.g. X:CROSS(MA(C,5),MA(C,10));"></textarea>
        <input id="screen-params" placeholder="N=5,M=10"><button id="screen-run">Run</button>
        <progress id="screen-progress" value="0" max="1"></progress><div id="screen-status"></div>
        <ol id="screen-rows"></ol>
        <p class="note">Charts by <a href="https://www.tradingview.com/">TradingView</a> Lightweight Charts (Apache-2.0).</p>
      </aside>
    </main>`;
  const $ = (id) => document.getElementById(id);

  // Test and bench hooks: what the page has drawn.
  const state = window.fenxiApp = {
    // Scrolls the chart to its first loaded bar (earlier ones then load).
    showFirst: () => chart && chart.timeScale().setVisibleLogicalRange({ from: 0, to: 100 }),
    ready: false, file: null, drawn: 0, bars: 0, total: 0, pointMarkers: 0, tacticMarkers: 0, panes: 0,
    lastCandle: null, lines: {}, formulaError: null, formulaLines: 0, screenRows: [], live: false, updates: 0, kind: 'plain',
  };

  // ---- requests ----
  const request = async (url, options) => {
    const r = await fetch(url, options);
    const body = await r.json();
    if (!r.ok) throw Object.assign(new Error(body.error || r.statusText), { status: r.status, body });
    return body;
  };
  const status = (text) => { $('status').textContent = text; };
  const q = encodeURIComponent;

  // ---- the list ----
  let securities = [];
  const showList = () => {
    const find = $('search').value.trim().toLowerCase();
    const key = $('sort').value;
    const rows = securities.filter((s) => !find || s.file.toLowerCase().includes(find) || (s.code || '').includes(find));
    rows.sort((a, b) => key === 'file' ? a.file.localeCompare(b.file) : (b[key] ?? -Infinity) - (a[key] ?? -Infinity));
    const body = $('list');
    body.textContent = '';
    for (const s of rows) {
      const tr = document.createElement('tr');
      tr.dataset.file = s.file;
      tr.classList.toggle('on', s.file === state.file);
      const cells = s.error ? [s.file, '', '', 'error'] :
        [s.file, s.close, s.percent === null ? '' : s.percent.toFixed(2), s.bars];
      cells.forEach((c) => { const td = document.createElement('td'); td.textContent = c; tr.appendChild(td); });
      if (s.percent) tr.classList.add(s.percent > 0 ? 'up' : 'down');
      if (s.error) tr.title = s.error;
      tr.addEventListener('click', () => choose(s.file));
      body.appendChild(tr);
    }
  };
  $('search').addEventListener('input', showList);
  $('sort').addEventListener('change', showList);

  // ---- the chart ----
  // Items: an operation or formula with ":"-separated parameters, in the
  // price pane (pane 0) or a pane of its own.
  let items = [{ item: 'MA', overlay: true }, { item: 'MACD', overlay: false }, { item: 'KDJ', overlay: false }];
  let chart = null, candles = null, volume = null, markerLayer = null;
  let data = null;      // {from, total, unit, intraday, time[], open[], high[], low[], close[], volume[]}
  let groups = [];      // per item and the formula: {label, lines: [{name, attributes, values, series}]}
  let formulaGroup = null, marks = null, loadingMore = false, generation = 0;

  const chartOptions = () => ({
    autoSize: true,
    layout: { background: { color: '#ffffff' }, textColor: '#333', panes: { separatorColor: '#ddd' } },
    grid: { vertLines: { color: '#f2f2f2' }, horzLines: { color: '#f2f2f2' } },
    crosshair: { mode: LC.CrosshairMode.Normal },
    timeScale: { timeVisible: !!(data && data.intraday), secondsVisible: false },
  });
  const day = (s) => new Date(s * 1000).toISOString().slice(0, data.intraday ? 16 : 10).replace('T', ' ');
  const candle = (i) => ({ time: data.time[i], open: data.open[i], high: data.high[i], low: data.low[i], close: data.close[i] });
  const volumeBar = (i) => ({ time: data.time[i], value: data.volume[i], color: data.close[i] >= data.open[i] ? '#f3b0ae' : '#a9dcbf' });
  const stick = (attributes) => attributes.includes('COLORSTICK') || attributes.includes('STICK');
  const point = (line, i) => {
    const v = line.values[i];
    if (v === null) return { time: data.time[i] };
    return line.attributes.includes('COLORSTICK') ? { time: data.time[i], value: v, color: v >= 0 ? '#e74c3c' : '#27ae60' }
      : { time: data.time[i], value: v };
  };

  // Panes: 0 prices, then one per non-overlay item, then the formula's.
  const paneOf = (group) => group.pane;
  const addGroupSeries = (group) => {
    group.lines.forEach((line, k) => {
      line.series = chart.addSeries(stick(line.attributes) ? LC.HistogramSeries : LC.LineSeries, {
        color: colors[k % colors.length], lineWidth: 1, lastValueVisible: false, priceLineVisible: false,
      }, paneOf(group));
      line.series.setData(line.values.map((v, i) => point(line, i)));
      line.color = colors[k % colors.length];
    });
  };
  const removeGroupSeries = (group) => { group.lines.forEach((line) => line.series && chart.removeSeries(line.series)); };
  const numberPanes = () => {
    let pane = 1;
    for (const g of groups) g.pane = g.overlay ? 0 : pane++;
    if (formulaGroup) formulaGroup.pane = formulaGroup.overlay ? 0 : pane++;
  };

  const lineUrl = (item, from, to) => `/api/lines?file=${q(state.file)}&item=${q(item)}&from=${from}&to=${to}`;
  const formulaRequest = (text, from, to) => request(`/api/formula?file=${q(state.file)}&from=${from}&to=${to}`,
    { method: 'POST', body: text, headers: { 'Content-Type': 'text/plain' } });

  const legend = $('legend');
  const showLegend = (i) => {
    if (!data || !data.time.length) return;
    if (i === undefined || i < 0 || i >= data.time.length) i = data.time.length - 1;
    const rows = [`<b>${day(data.time[i])}</b> O ${data.open[i]} H ${data.high[i]} L ${data.low[i]} C ${data.close[i]} V ${data.volume[i]}`];
    for (const g of [...groups, ...(formulaGroup ? [formulaGroup] : [])]) {
      const parts = g.lines.map((l) => {
        const v = l.values[i];
        return `<span style="color:${l.color}">${escape(l.name)} ${v === null ? '-' : +v.toFixed(4)}</span>`;
      });
      rows.push(`<span class="group">${escape(g.label)}</span> ${parts.join(' ')}`);
    }
    legend.innerHTML = rows.join('<br>');
  };
  const escape = (s) => String(s).replace(/[&<>"]/g, (c) => ({ '&': '&amp;', '<': '&lt;', '>': '&gt;', '"': '&quot;' })[c]);

  const recordLines = () => {
    state.lines = {};
    for (const g of [...groups, ...(formulaGroup ? [formulaGroup] : [])])
      for (const l of g.lines) state.lines[`${g.label} ${l.name}`] = l.values[l.values.length - 1];
    state.panes = chart ? chart.panes().length : 0;
  };

  const showMarkers = () => {
    if (!marks || !data) return;
    const list = [];
    const at = (bar) => data.time[bar - data.from];
    for (const p of marks.points) {
      if (p.bar < data.from || p.bar >= data.from + data.time.length) continue;
      const long = p.system === 'long';
      list.push({
        time: at(p.bar), position: p.kind === 'D' ? 'belowBar' : 'aboveBar', shape: p.kind === 'D' ? 'arrowUp' : 'arrowDown',
        color: long ? (p.kind === 'D' ? '#c0392b' : '#1e8449') : (p.kind === 'D' ? '#e67e22' : '#2980b9'),
        text: `${p.kind}${long ? '' : 's'}`,
      });
    }
    for (const t of marks.tactics) {
      if (t.bar < data.from || t.bar >= data.from + data.time.length) continue;
      list.push({ time: at(t.bar), position: t.kind === 'entry' ? 'belowBar' : 'aboveBar', shape: 'square', size: 0.5, color: '#8e44ad' });
    }
    list.sort((a, b) => a.time - b.time);
    if (!markerLayer) markerLayer = LC.createSeriesMarkers(candles, list);
    else markerLayer.setMarkers(list);
    state.pointMarkers = list.filter((m) => m.shape !== 'square').length;
    state.tacticMarkers = list.filter((m) => m.shape === 'square').length;
  };

  const pointText = (i) => {
    if (!marks || !data) return '';
    const bar = data.from + i;
    const here = [];
    marks.points.filter((p) => p.bar === bar).forEach((p) => here.push(`${p.system}-term ${p.kind} #${p.seq} at ${p.price}` +
      (p.kind === 'K' ? ` (closes #${p.link})` : '')));
    marks.tactics.filter((t) => t.bar === bar).forEach((t) => here.push(`${t.pool} pool ${t.kind} ${t.tactic} at ${t.price}`));
    return here.length ? `${day(data.time[i])}\n${here.join('\n')}` : '';
  };

  // Builds the chart of the loaded bars and groups.
  const draw = () => {
    if (chart) chart.remove();
    markerLayer = null;
    chart = LC.createChart($('chart'), chartOptions());
    candles = chart.addSeries(LC.CandlestickSeries, {
      upColor: up, downColor: down, borderUpColor: up, borderDownColor: down, wickUpColor: up, wickDownColor: down,
    });
    candles.setData(data.time.map((t, i) => candle(i)));
    volume = chart.addSeries(LC.HistogramSeries, { priceScaleId: 'volume', priceFormat: { type: 'volume' } });
    volume.priceScale().applyOptions({ scaleMargins: { top: 0.8, bottom: 0 } });
    volume.setData(data.time.map((t, i) => volumeBar(i)));
    numberPanes();
    for (const g of groups) addGroupSeries(g);
    if (formulaGroup) addGroupSeries(formulaGroup);
    chart.panes().forEach((pane, k) => pane.setStretchFactor(k === 0 ? 3 : 1));
    const index = new Map();
    chart.subscribeCrosshairMove((param) => {
      if (param.time === undefined) { showLegend(); return; }
      if (!index.size || index.stamp !== data.time.length) {
        index.clear();
        data.time.forEach((t, i) => index.set(t, i));
        index.stamp = data.time.length;
      }
      const i = index.get(param.time);
      showLegend(i);
      $('point').textContent = pointText(i);
    });
    chart.timeScale().subscribeVisibleLogicalRangeChange((range) => {
      if (range && range.from < 50 && data.from > 0 && !loadingMore) loadMore();
    });
    showMarkers();
    showLegend();
    recordLines();
  };

  // Loads bars [from, to) with every group's lines over them.
  // The requests go together; should the file change between them (their
  // ranges differ), they go again.
  const loadRange = async (from, to) => {
    for (let attempt = 0; ; ++attempt) {
      const [bars, formula, ...lines] = await Promise.all([
        request(`/api/bars?file=${q(state.file)}&from=${from}&to=${to}`),
        formulaGroup ? formulaRequest(formulaGroup.text, from, to).catch(() => null) : null,
        ...items.map((it) => request(lineUrl(it.item, from, to)))]);
      const same = (r) => !r || (r.from === bars.from && r.to === bars.to);
      if ((lines.every(same) && same(formula)) || attempt === 2) return { bars, lines, formula };
    }
  };

  const choose = async (file) => {
    const mine = ++generation;
    state.file = file;
    state.drawn = 0;
    location.hash = `file=${q(file)}`;
    showList();
    status(`loading ${file}`);
    try {
      const { bars, lines, formula } = await loadRange(-firstBars, '');
      if (mine !== generation) return;
      data = bars;
      groups = lines.map((l, k) => ({ label: l.label, overlay: items[k].overlay, item: items[k].item, lines: l.lines }));
      if (formulaGroup && formula) formulaGroup.lines = formula.lines;
      $('title').textContent = `${file}${bars.code ? ' ' + bars.code : ''}  ${bars.total} bars`;
      marks = null;
      draw();
      state.bars = data.time.length;
      state.total = data.total;
      state.lastCandle = candle(data.time.length - 1);
      await new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done)));
      state.drawn = performance.now();
      status('');
      showKind('plain');
      chips();
      // Then what the first draw does not wait for: points, tips, live bars.
      loadMarks(file, mine);
      startLive();
    } catch (e) {
      if (mine === generation) status(`${file}: ${e.message}`);
    }
  };

  let marksTimer = 0;
  const loadMarks = (file, mine) => request(`/api/marks?file=${q(file)}`).then((m) => {
    if (mine !== generation) return;
    marks = m;
    $('tips').textContent = `[short-term]\n${m.tips['short-term'] || '(no tip for this bar)'}\n` +
      `[long-term]\n${m.tips['long-term'] || '(no tip for this bar)'}`;
    showMarkers();
  }).catch((e) => status(e.message));

  // Earlier bars as the view reaches the first loaded one.
  const loadMore = async () => {
    loadingMore = true;
    const mine = generation;
    try {
      const count = Math.max(5000, data.time.length);
      const from = Math.max(0, data.from - count);
      const { bars, lines, formula } = await loadRange(from, data.from);
      if (mine !== generation || bars.to !== data.from) return;
      const added = bars.time.length;
      for (const k of ['time', 'open', 'high', 'low', 'close', 'volume']) data[k] = bars[k].concat(data[k]);
      data.from = bars.from;
      lines.forEach((l, g) => l.lines.forEach((line, j) => { groups[g].lines[j].values = line.values.concat(groups[g].lines[j].values); }));
      if (formulaGroup && formula) formula.lines.forEach((line, j) => {
        formulaGroup.lines[j].values = line.values.concat(formulaGroup.lines[j].values);
      });
      const ts = chart.timeScale();
      const range = ts.getVisibleLogicalRange();
      candles.setData(data.time.map((t, i) => candle(i)));
      volume.setData(data.time.map((t, i) => volumeBar(i)));
      for (const g of [...groups, ...(formulaGroup ? [formulaGroup] : [])])
        for (const line of g.lines) line.series.setData(line.values.map((v, i) => point(line, i)));
      if (range) ts.setVisibleLogicalRange({ from: range.from + added, to: range.to + added });
      state.bars = data.time.length;
      showMarkers();
    } catch (e) {
      status(e.message);
    } finally {
      loadingMore = false;
    }
  };

  // ---- adding and removing lines ----
  let names = [];
  const chips = () => {
    const box = $('chips');
    box.textContent = '';
    items.forEach((it, k) => {
      const chip = document.createElement('span');
      chip.className = 'chip';
      chip.textContent = `${groups[k] ? groups[k].label : it.item}${it.overlay ? '' : ' (pane)'} `;
      const x = document.createElement('button');
      x.textContent = '×';
      x.title = 'remove';
      x.addEventListener('click', () => { items.splice(k, 1); choose(state.file); });
      chip.appendChild(x);
      box.appendChild(chip);
    });
  };
  const addItem = (overlay) => {
    const name = $('pick').value;
    const params = $('params').value.split(/[,\s]+/).filter(Boolean);
    if (!name || !state.file) return;
    items.push({ item: [name, ...params].join(':'), overlay });
    choose(state.file);
  };
  $('add-overlay').addEventListener('click', () => addItem(true));
  $('add-pane').addEventListener('click', () => addItem(false));
  $('pick').addEventListener('change', () => {
    const n = names.find((x) => x.name === $('pick').value);
    $('params').value = n ? n.parameters.map((p) => p.default).join(',') : '';
  });

  // ---- the formula editor ----
  let formulaTimer = 0, formulaSeq = 0;
  const formulaBox = $('formula'), formulaError = $('formula-error');
  const runFormula = async () => {
    const text = formulaBox.value;
    const mine = ++formulaSeq;
    if (!text.trim() || !data) {
      if (formulaGroup) { removeGroupSeries(formulaGroup); formulaGroup = null; draw(); }
      formulaError.textContent = '';
      state.formulaError = null;
      return;
    }
    try {
      const r = await formulaRequest(text, data.from, data.from + data.time.length);
      if (mine !== formulaSeq) return;
      formulaError.textContent = '';
      formulaError.classList.remove('bad');
      state.formulaError = null;
      formulaGroup = { label: 'formula', overlay: $('formula-overlay').checked, text, lines: r.lines };
      draw();
      state.formulaLines = r.lines.length;
      startLive();
    } catch (e) {
      if (mine !== formulaSeq) return;
      const b = e.body || {};
      state.formulaError = { line: b.line || 0, column: b.column || 0, message: e.message };
      formulaError.classList.add('bad');
      if (b.line) {
        const source = text.split('\n')[b.line - 1] || '';
        formulaError.textContent = `line ${b.line}, column ${b.column}: ${e.message}\n${source}\n${' '.repeat(Math.max(0, b.column - 1))}^`;
      } else {
        formulaError.textContent = e.message;
      }
    }
  };
  formulaBox.addEventListener('input', () => { clearTimeout(formulaTimer); formulaTimer = setTimeout(runFormula, 300); });
  $('formula-overlay').addEventListener('change', runFormula);

  // ---- the screen ----
  $('screen-pick').addEventListener('change', () => {
    const n = names.find((x) => x.name === $('screen-pick').value);
    $('screen-params').value = n ? n.parameters.map((p) => `${p.name}=${p.default}`).join(',') : '';
    $('screen-text').disabled = !!n;
  });
  $('screen-run').addEventListener('click', async () => {
    const where = $('screen-pick').value || $('screen-text').value;
    const list = $('screen-rows');
    list.textContent = '';
    state.screenRows = [];
    state.screenDone = false;
    try {
      const { id } = await request(`/api/screen?params=${q($('screen-params').value.replace(/\s+/g, ''))}`,
        { method: 'POST', body: where, headers: { 'Content-Type': 'text/plain' } });
      for (;;) {
        const s = await request(`/api/screen/${id}`);
        $('screen-progress').max = Math.max(1, s.files);
        $('screen-progress').value = s.screened;
        $('screen-status').textContent = `${s.screened} of ${s.files} files`;
        if (s.done) {
          for (const row of s.rows) {
            const li = document.createElement('li');
            li.textContent = `${row.file} ${row.date} ` + Object.entries(row.values).map(([k, v]) => `${k} ${v === null ? '-' : +(+v).toFixed(4)}`).join(' ');
            li.addEventListener('click', () => choose(row.file));
            list.appendChild(li);
          }
          state.screenRows = s.rows.map((r) => r.file);
          state.screenDone = true;
          $('screen-status').textContent = `${s.rows.length} of ${s.files} pass` + (s.errors.length ? `; ${s.errors.length} errors: ${s.errors.map((e) => e.error).join('; ')}` : '');
          return;
        }
        await new Promise((r) => setTimeout(r, 200));
      }
    } catch (e) {
      $('screen-status').textContent = e.body && e.body.line ? `line ${e.body.line}, column ${e.body.column}: ${e.message}` : e.message;
      state.screenDone = true;
    }
  });

  // ---- live bars ----
  let source = null;
  const startLive = async () => {
    if (source) { source.close(); source = null; }
    state.live = false;
    const file = state.file, mine = generation;
    try {
      const body = formulaGroup ? formulaGroup.text : '';
      const { id } = await request(`/api/live?file=${q(file)}&items=${q(items.map((it) => it.item).join(';'))}`,
        { method: 'POST', body, headers: { 'Content-Type': 'text/plain' } });
      if (mine !== generation || state.file !== file) return;
      if (source) source.close();
      source = new EventSource(`/api/live/${id}`);
      source.addEventListener('hello', () => { state.live = true; });
      source.addEventListener('bar', (e) => liveBar(JSON.parse(e.data)));
      source.addEventListener('reset', () => choose(file));
      source.addEventListener('problem', (e) => status(JSON.parse(e.data).error));
    } catch (e) {
      status(`live: ${e.message}`);
    }
  };
  const liveBar = (event) => {
    const i = event.index - data.from;
    const n = data.time.length;
    if (!(i === n || i === n - 1)) { choose(state.file); return; }
    const [time, open, high, low, close, vol] = event.bar;
    const set = (k, v) => { data[k][i] = v; };
    set('time', time); set('open', open); set('high', high); set('low', low); set('close', close); set('volume', vol);
    candles.update(candle(i));
    volume.update(volumeBar(i));
    const all = [...groups, ...(formulaGroup ? [formulaGroup] : [])];
    event.values.forEach((values, g) => {
      if (!all[g]) return;
      all[g].lines.forEach((line, j) => {
        line.values[i] = values[j] === undefined ? null : values[j];
        line.series.update(point(line, i));
      });
    });
    data.total = event.total;
    state.bars = data.time.length;
    state.total = data.total;
    state.lastCandle = candle(data.time.length - 1);
    state.updates += 1;
    recordLines();
    showLegend();
    const row = securities.find((s) => s.file === state.file);
    if (row && i > 0) {
      const before = data.close[i - 1];
      Object.assign(row, { close, bars: event.total, change: close - before, percent: before ? (close - before) / before * 100 : null });
      showList();
    }
    // The points, tactics and tips of the grown series, once the bars settle.
    clearTimeout(marksTimer);
    marksTimer = setTimeout(() => loadMarks(state.file, generation), 1000);
  };

  // ---- derived forms ----
  let derived = null, derivedSeries = null, forms = null;
  const showKind = async (kind) => {
    document.querySelectorAll('nav button').forEach((b) => b.classList.toggle('on', b.dataset.kind === kind));
    $('chart').hidden = kind !== 'plain';
    $('derived').hidden = kind === 'plain';
    state.kind = kind;
    if (kind === 'plain') return;
    if (!forms || forms.file !== state.file) forms = Object.assign(await request(`/api/forms?file=${q(state.file)}`), { file: state.file });
    const bars = forms[kind].bars;
    const dates = bars.map((b) => String(b[0]).replace(/(\d{4})(\d{2})(\d{2})/, '$1-$2-$3'));
    if (!derived) {
      derived = LC.createChart($('derived'), { ...chartOptions(), timeScale: { tickMarkFormatter: (t) => derived.dates[t - 1] || '' } });
      derivedSeries = derived.addSeries(LC.CandlestickSeries, {
        upColor: up, downColor: down, borderUpColor: up, borderDownColor: down, wickUpColor: up, wickDownColor: down,
      });
    }
    derived.dates = dates;
    derived.applyOptions({ localization: { timeFormatter: (t) => dates[t - 1] || '' } });
    derivedSeries.setData(bars.map((b, k) => ({ time: k + 1, open: b[1], high: b[2], low: b[3], close: b[4] })));
    derived.timeScale().fitContent();
    state.derivedBars = bars.length;
  };
  document.querySelectorAll('nav button').forEach((b) => b.addEventListener('click', () => showKind(b.dataset.kind)));

  // ---- start ----
  (async () => {
    const wanted = new URLSearchParams(location.hash.slice(1)).get('file');
    const [list, catalog] = await Promise.all([request('/api/list'), request('/api/names')]);
    securities = list;
    names = catalog;
    for (const n of names) {
      const o = document.createElement('option');
      o.value = n.name;
      o.textContent = `${n.name}${n.kind === 'formula' ? '' : ' (built in)'}`;
      o.title = n.description || '';
      $('pick').appendChild(o);
      if (n.screen) $('screen-pick').appendChild(o.cloneNode(true));
    }
    $('pick').dispatchEvent(new Event('change'));
    showList();
    state.ready = true;
    const first = securities.find((s) => s.file === wanted) || securities.find((s) => !s.error);
    if (first) choose(first.file);
  })().catch((e) => status(e.message));
})();
