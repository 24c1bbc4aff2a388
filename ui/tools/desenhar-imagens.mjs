// Draws ui/icone.png and ui/logo.png on a canvas in headless Chromium and saves them.
//
//   node ui/tools/desenhar-imagens.mjs
//
// Needs the page tests' npm packages (cd tests/page && npm ci) and /usr/bin/chromium.
// Everything is drawn from code with the system's serif font; no outside pictures.

import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { createRequire } from 'node:module';
import { fileURLToPath } from 'node:url';

const aqui = path.dirname(fileURLToPath(import.meta.url));
const ui = path.resolve(aqui, '..');
const require = createRequire(path.resolve(ui, '../tests/page/package.json'));
const { chromium } = require('playwright-core');

const OURO = '#d8b26a';
const OURO_CLARO = '#f3d79a';
const OURO_ESCURO = '#8a6a32';

// Runs inside the browser: returns { icone, logo } as PNG data URLs.
function desenhar({ OURO, OURO_CLARO, OURO_ESCURO }) {
  const FONTE = '"Liberation Serif", "DejaVu Serif", "Times New Roman", serif';

  function metal(ctx, y0, y1) {
    const g = ctx.createLinearGradient(0, y0, 0, y1);
    g.addColorStop(0, '#fff1c8');
    g.addColorStop(0.18, OURO_CLARO);
    g.addColorStop(0.48, OURO);
    g.addColorStop(0.56, OURO_ESCURO);
    g.addColorStop(0.7, OURO);
    g.addColorStop(1, '#6b5026');
    return g;
  }

  // Heater shield outline, centred on (cx, cy), w wide and h tall.
  function escudo(ctx, cx, cy, w, h) {
    const x0 = cx - w / 2;
    const x1 = cx + w / 2;
    const y0 = cy - h / 2;
    const y1 = cy + h / 2;
    ctx.beginPath();
    ctx.moveTo(cx, y0 + h * 0.06);
    ctx.quadraticCurveTo(cx + w * 0.22, y0 - h * 0.01, x1, y0 + h * 0.04);
    ctx.bezierCurveTo(x1, y0 + h * 0.45, x1 - w * 0.06, y0 + h * 0.78, cx, y1);
    ctx.bezierCurveTo(x0 + w * 0.06, y0 + h * 0.78, x0, y0 + h * 0.45, x0, y0 + h * 0.04);
    ctx.quadraticCurveTo(cx - w * 0.22, y0 - h * 0.01, cx, y0 + h * 0.06);
    ctx.closePath();
  }

  // A flame-like ember: the game's mark.
  function chama(ctx, cx, base, h) {
    const w = h * 0.62;
    ctx.beginPath();
    ctx.moveTo(cx, base - h);
    ctx.bezierCurveTo(cx + w * 0.12, base - h * 0.72, cx + w * 0.62, base - h * 0.58, cx + w * 0.5, base - h * 0.26);
    ctx.bezierCurveTo(cx + w * 0.42, base - h * 0.04, cx + w * 0.16, base, cx, base);
    ctx.bezierCurveTo(cx - w * 0.16, base, cx - w * 0.42, base - h * 0.04, cx - w * 0.5, base - h * 0.26);
    ctx.bezierCurveTo(cx - w * 0.58, base - h * 0.5, cx - w * 0.3, base - h * 0.56, cx - w * 0.22, base - h * 0.78);
    ctx.bezierCurveTo(cx - w * 0.08, base - h * 0.62, cx - w * 0.04, base - h * 0.74, cx, base - h);
    ctx.closePath();
  }

  function emblema(ctx, cx, cy, s) {
    // Dark body with a gold bevelled rim.
    ctx.save();
    ctx.shadowColor = 'rgba(0,0,0,.6)';
    ctx.shadowBlur = s * 0.06;
    ctx.shadowOffsetY = s * 0.02;
    escudo(ctx, cx, cy, s * 0.82, s * 0.94);
    ctx.fillStyle = metal(ctx, cy - s * 0.47, cy + s * 0.47);
    ctx.fill();
    ctx.restore();

    escudo(ctx, cx, cy + s * 0.005, s * 0.68, s * 0.8);
    const dentro = ctx.createRadialGradient(cx, cy - s * 0.05, 0, cx, cy, s * 0.45);
    dentro.addColorStop(0, '#3a2412');
    dentro.addColorStop(0.7, '#1a110a');
    dentro.addColorStop(1, '#0c0806');
    ctx.fillStyle = dentro;
    ctx.fill();
    ctx.lineWidth = s * 0.02;
    ctx.strokeStyle = 'rgba(40,25,10,.9)';
    ctx.stroke();

    // The flame, glowing.
    ctx.save();
    ctx.shadowColor = 'rgba(255,170,70,.75)';
    ctx.shadowBlur = s * 0.12;
    chama(ctx, cx, cy + s * 0.27, s * 0.55);
    const fogo = ctx.createLinearGradient(0, cy - s * 0.28, 0, cy + s * 0.27);
    fogo.addColorStop(0, '#fff4d2');
    fogo.addColorStop(0.45, OURO_CLARO);
    fogo.addColorStop(1, OURO);
    ctx.fillStyle = fogo;
    ctx.fill();
    ctx.restore();
    // Inner tongue of the flame.
    chama(ctx, cx, cy + s * 0.24, s * 0.26);
    ctx.fillStyle = '#2a1a0e';
    ctx.fill();
  }

  function icone(tam) {
    const c = document.createElement('canvas');
    c.width = tam;
    c.height = tam;
    emblema(c.getContext('2d'), tam / 2, tam / 2, tam);
    return c.toDataURL('image/png');
  }

  // One row of the logotype; returns the widths so it can be centred.
  function larguras(ctx, texto, espaco) {
    return [...texto].map((l) => ctx.measureText(l).width + espaco);
  }

  function escrever(ctx, texto, x0, base, espaco, acao) {
    let x = x0;
    for (const l of texto) {
      acao(l, x, base);
      x += ctx.measureText(l).width + espaco;
    }
  }

  function logo(W, H) {
    const c = document.createElement('canvas');
    c.width = W;
    c.height = H;
    const ctx = c.getContext('2d');
    const texto = 'VALDREN';
    const tam = 190;
    const espaco = 22;
    const base = H * 0.62;
    ctx.font = `700 ${tam}px ${FONTE}`;
    ctx.textBaseline = 'alphabetic';
    const ws = larguras(ctx, texto, espaco);
    const total = ws.reduce((a, b) => a + b, 0) - espaco;
    const x0 = (W - total) / 2;
    const topo = base - tam * 0.68;

    const letras = (fn) => escrever(ctx, texto, x0, base, espaco, fn);

    // Warm haze behind the letters.
    // An ellipse that fades out well inside the picture, so no edge shows on any background.
    ctx.save();
    ctx.translate(W / 2, base - tam * 0.3);
    ctx.scale(1, 0.3);
    const halo = ctx.createRadialGradient(0, 0, 0, 0, 0, W * 0.46);
    halo.addColorStop(0, 'rgba(216,150,70,.24)');
    halo.addColorStop(1, 'rgba(216,150,70,0)');
    ctx.fillStyle = halo;
    ctx.fillRect(-W / 2, -H * 2, W, H * 4);
    ctx.restore();

    // Deep shadow and dark outline.
    ctx.save();
    ctx.shadowColor = 'rgba(0,0,0,.85)';
    ctx.shadowBlur = 26;
    ctx.shadowOffsetY = 10;
    ctx.lineJoin = 'round';
    ctx.lineWidth = 16;
    ctx.strokeStyle = '#140d06';
    letras((l, x, y) => ctx.strokeText(l, x, y));
    ctx.restore();

    // Dark-gold rim.
    ctx.lineJoin = 'round';
    ctx.lineWidth = 7;
    ctx.strokeStyle = metal(ctx, topo, base);
    letras((l, x, y) => ctx.strokeText(l, x, y));
    ctx.lineWidth = 3;
    ctx.strokeStyle = '#3d2a12';
    letras((l, x, y) => ctx.strokeText(l, x, y));

    // Metal face, drawn on its own layer so the bevel stays inside the letters.
    const face = document.createElement('canvas');
    face.width = W;
    face.height = H;
    const f = face.getContext('2d');
    f.font = ctx.font;
    f.textBaseline = 'alphabetic';
    f.fillStyle = metal(f, topo, base);
    escrever(f, texto, x0, base, espaco, (l, x, y) => f.fillText(l, x, y));
    f.globalCompositeOperation = 'source-atop';
    // Light from above: a bright edge on the top, a dark one at the bottom.
    f.lineWidth = 5;
    f.strokeStyle = 'rgba(255,244,210,.75)';
    escrever(f, texto, x0, base + 3, espaco, (l, x, y) => f.strokeText(l, x - 1, y));
    f.strokeStyle = 'rgba(60,38,14,.8)';
    escrever(f, texto, x0, base - 3, espaco, (l, x, y) => f.strokeText(l, x + 1, y));
    // A sheen across the upper half.
    const brilho = f.createLinearGradient(0, topo, W, base);
    brilho.addColorStop(0, 'rgba(255,255,255,0)');
    brilho.addColorStop(0.45, 'rgba(255,250,230,.28)');
    brilho.addColorStop(0.55, 'rgba(255,255,255,0)');
    f.fillStyle = brilho;
    f.fillRect(0, topo, W, (base - topo) * 0.55);
    ctx.drawImage(face, 0, 0);

    // Ornament under the name: two tapering rules and a small flame between them.
    const yo = base + 46;
    const meio = W / 2;
    const alcance = total * 0.42;
    for (const lado of [-1, 1]) {
      const g = ctx.createLinearGradient(meio, 0, meio + lado * alcance, 0);
      g.addColorStop(0, OURO_CLARO);
      g.addColorStop(0.6, OURO);
      g.addColorStop(1, 'rgba(138,106,50,0)');
      ctx.fillStyle = g;
      ctx.beginPath();
      ctx.moveTo(meio + lado * 34, yo - 3.5);
      ctx.lineTo(meio + lado * alcance, yo);
      ctx.lineTo(meio + lado * 34, yo + 3.5);
      ctx.closePath();
      ctx.fill();
      // A small diamond on each rule.
      const xd = meio + lado * 70;
      ctx.beginPath();
      ctx.moveTo(xd, yo - 8);
      ctx.lineTo(xd + 8, yo);
      ctx.lineTo(xd, yo + 8);
      ctx.lineTo(xd - 8, yo);
      ctx.closePath();
      ctx.fillStyle = OURO;
      ctx.fill();
      ctx.lineWidth = 2;
      ctx.strokeStyle = '#3d2a12';
      ctx.stroke();
    }
    ctx.save();
    ctx.shadowColor = 'rgba(255,170,70,.8)';
    ctx.shadowBlur = 18;
    chama(ctx, meio, yo + 16, 42);
    ctx.fillStyle = metal(ctx, yo - 26, yo + 16);
    ctx.fill();
    ctx.restore();

    return c.toDataURL('image/png');
  }

  return { icone: icone(128), logo: logo(1200, 420) };
}

const perfil = fs.mkdtempSync(path.join(os.tmpdir(), 'desenho-'));
const navegador = await chromium.launchPersistentContext(perfil, {
  executablePath: process.env.CHROMIUM || '/usr/bin/chromium',
  headless: true,
  args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
    '--disable-background-networking', '--disable-component-update', '--disable-sync'],
});
try {
  const pagina = await navegador.newPage();
  await pagina.setContent('<!DOCTYPE html><meta charset="utf-8"><body></body>');
  const imagens = await pagina.evaluate(desenhar, { OURO, OURO_CLARO, OURO_ESCURO });
  for (const [nome, url] of Object.entries(imagens)) {
    const arquivo = path.join(ui, nome + '.png');
    fs.writeFileSync(arquivo, Buffer.from(url.split(',')[1], 'base64'));
    console.log(arquivo);
  }
} finally {
  await navegador.close();
  fs.rmSync(perfil, { recursive: true, force: true });
}
