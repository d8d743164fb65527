// The chart page in headless Chromium: no console errors, every pane drawn,
// one marker per D/K point of the systems, and the brick chart on request.
// Usage: node view_test.mjs FENXI_TOOL SAMPLE_CSV SCREENSHOT_PNG
import { execFileSync } from 'node:child_process';
import { mkdtempSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { createRequire } from 'node:module';

const require = createRequire(join(process.env.FENXI_WEB_DIR, 'package.json'));
const { chromium } = require('playwright-core');
const [tool, sample, screenshot] = process.argv.slice(2);
let failures = 0;
const check = (ok, what) => {
  console.log(`${ok ? 'ok' : 'FAILED'}: ${what}`);
  if (!ok) failures += 1;
};

const page = join(mkdtempSync(join(tmpdir(), 'fenxi-view-')), 'view.html');
execFileSync(tool, ['view', '-i', sample, '-o', page]);
const points = ['--long', '--short'].map((flag) =>
  JSON.parse(execFileSync(tool, ['signals', flag, '--json', '-i', sample])).length).reduce((a, b) => a + b);

const browser = await chromium.launch({
  executablePath: process.env.CHROMIUM || '/usr/bin/chromium',
  args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
         '--disable-component-update', '--disable-sync'],
});
try {
  const tab = await browser.newPage({ viewport: { width: 1400, height: 900 } });
  const errors = [];
  tab.on('console', (m) => { if (m.type() === 'error') errors.push(m.text()); });
  tab.on('pageerror', (e) => errors.push(String(e)));
  await tab.goto(`file://${page}`);
  await tab.waitForFunction(() => window.fenxiView && window.fenxiView.ready, null, { timeout: 30000 });
  await tab.waitForTimeout(500);

  // Ink per pane: pixels of each pane's canvases that are not the background.
  const ink = () => tab.evaluate(() => {
    const rows = [...document.querySelectorAll('#chart table tr, #derived table tr')]
      .filter((tr) => tr.offsetParent !== null && tr.querySelector('canvas') && tr.getBoundingClientRect().height > 60);
    return rows.map((tr) => {
      let drawn = 0;
      for (const canvas of tr.querySelectorAll('canvas')) {
        const pixels = canvas.getContext('2d').getImageData(0, 0, canvas.width, canvas.height).data;
        for (let k = 0; k < pixels.length; k += 4)
          if (pixels[k + 3] > 0 && (pixels[k] < 230 || pixels[k + 1] < 230 || pixels[k + 2] < 230)) drawn += 1;
      }
      return drawn;
    });
  });
  const panes = await ink();
  check(panes.length === 3, `three panes (price, MACD, KDJ): ${panes.length}`);
  check(panes.every((p) => p > 500), `every pane drawn: ${panes.join(', ')} pixels`);
  const view = await tab.evaluate(() => window.fenxiView);
  check(view.pointMarkers === points, `a marker per D/K point: ${view.pointMarkers} of ${points}`);
  check(view.tacticMarkers > 0, `tactics marked: ${view.tacticMarkers}`);
  await tab.screenshot({ path: screenshot });

  await tab.click('button[data-kind="brick"]');
  await tab.waitForTimeout(500);
  const bricks = await tab.evaluate(() => window.fenxiView);
  check(bricks.kind === 'brick' && bricks.derivedBars > 10, `the brick chart: ${bricks.derivedBars} bricks`);
  const brickInk = await ink();
  check(brickInk.length === 1 && brickInk[0] > 500, `the brick chart drawn: ${brickInk.join(', ')} pixels`);
  check(errors.length === 0, `no console errors${errors.length ? ': ' + errors.join(' | ') : ''}`);
} finally {
  await browser.close();
}
console.log(`${4 + 3 - failures} passed, ${failures} failed`);
process.exit(failures ? 1 : 0);
