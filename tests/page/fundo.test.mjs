// The animated background: it paints, stops while the window is hidden, draws a still
// frame for reduced motion, and gives way to the optional video.

import { test, before, after } from 'node:test';
import assert from 'node:assert/strict';
import { abrirNavegador, abrirPagina, fecharPagina } from './apoio.mjs';

let navegador;
before(async () => { navegador = await abrirNavegador(); });
after(async () => { await navegador?.close(); });

// Counts animation frames the page runs and lets the test hide or show the window.
function vigiarQuadros() {
  window.__quadros = 0;
  const original = window.requestAnimationFrame.bind(window);
  window.requestAnimationFrame = (cb) => original((ts) => { window.__quadros++; cb(ts); });
  let oculto = false;
  Object.defineProperty(document, 'hidden', { configurable: true, get: () => oculto });
  Object.defineProperty(document, 'visibilityState', { configurable: true, get: () => (oculto ? 'hidden' : 'visible') });
  window.__ocultar = (sim) => {
    oculto = sim;
    document.dispatchEvent(new Event('visibilitychange'));
  };
}

const abrir = (movimento) => abrirPagina(navegador, {
  reducedMotion: movimento,
  antes: (p) => p.addInitScript(vigiarQuadros),
});
const quadros = (page) => page.evaluate(() => window.__quadros);

// The share of sampled canvas pixels that differ between two reads, and whether it is painted.
const amostra = (page) => page.evaluate(() => {
  const c = document.getElementById('ceu');
  const d = c.getContext('2d').getImageData(0, 0, c.width, c.height).data;
  const px = [];
  for (let i = 0; i < d.length; i += 4 * 997) px.push(d[i], d[i + 1], d[i + 2], d[i + 3]);
  return px;
});
const pintado = (px) => px.filter((_, i) => i % 4 === 3).every((a) => a === 255);

test('without a video the canvas fills the window and animates only while visible', async () => {
  const page = await abrir('no-preference');
  try {
    const vista = await page.evaluate(() => {
      const c = document.getElementById('ceu');
      const r = c.getBoundingClientRect();
      return { w: r.width, h: r.height, video: document.getElementById('video').hidden, canvas: c.hidden };
    });
    assert.deepEqual(vista, { w: 1100, h: 640, video: true, canvas: false });

    await page.waitForFunction(() => window.__quadros > 5);
    const a = await amostra(page);
    assert.ok(pintado(a), 'every pixel painted');
    await page.waitForFunction((n) => window.__quadros > n + 5, await quadros(page));
    assert.notDeepEqual(await amostra(page), a, 'the scene moves');

    await page.evaluate(() => window.__ocultar(true));
    const parado = await quadros(page);
    await page.waitForTimeout(250);
    assert.ok(await quadros(page) <= parado + 1, 'no frames while hidden');

    await page.evaluate(() => window.__ocultar(false));
    await page.waitForFunction((n) => window.__quadros > n + 5, parado);

    // Resizing keeps the canvas covering the window.
    await page.setViewportSize({ width: 900, height: 500 });
    await page.waitForFunction(() => document.getElementById('ceu').width === 900 * devicePixelRatio);
    assert.deepEqual(page.erros, []);
  } finally {
    await fecharPagina(page);
  }
});

test('with reduced motion one still frame is drawn and no loop runs', async () => {
  const page = await abrir('reduce');
  try {
    await page.waitForTimeout(250);
    assert.equal(await quadros(page), 0);
    const a = await amostra(page);
    assert.ok(pintado(a));
    // Showing the window again must not start the loop either.
    await page.evaluate(() => { window.__ocultar(true); window.__ocultar(false); });
    await page.waitForTimeout(150);
    assert.equal(await quadros(page), 0);
    assert.deepEqual(await amostra(page), a);
  } finally {
    await fecharPagina(page);
  }
});

test('a video that can play replaces the canvas and stops its animation', async () => {
  const page = await abrir('no-preference');
  try {
    assert.equal(await page.getAttribute('#video', 'src'), 'fundo.mp4');
    const props = await page.$eval('#video', (v) => [v.muted, v.loop]);
    assert.deepEqual(props, [true, true]);
    await page.waitForFunction(() => window.__quadros > 2);
    // The missing file fails to load and leaves the canvas in place.
    await page.waitForFunction(() => document.getElementById('video').error !== null);
    assert.equal(await page.isVisible('#ceu'), true);
    // No such file ships with the page; pretend one was placed beside it.
    await page.$eval('#video', (v) => v.dispatchEvent(new Event('canplay')));
    assert.equal(await page.isVisible('#video'), true);
    assert.equal(await page.isVisible('#ceu'), false);
    const n = await quadros(page);
    await page.waitForTimeout(200);
    assert.ok(await quadros(page) <= n + 1, 'canvas animation stopped');
  } finally {
    await fecharPagina(page);
  }
});
