// Shared set-up of the page tests: one Chromium per test file, a fresh context per page,
// and a stand-in for the launcher's browser bridge.

import fs from 'node:fs';
import path from 'node:path';
import { fileURLToPath, pathToFileURL } from 'node:url';
import { chromium } from 'playwright-core';

const aqui = path.dirname(fileURLToPath(import.meta.url));
export const PAGINA = pathToFileURL(path.resolve(aqui, '../../ui/index.html')).href;
export const NBSP = '\u00a0';

export async function abrirNavegador() {
  return chromium.launch({
    executablePath: process.env.CHROMIUM || '/usr/bin/chromium',
    headless: true,
    args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
      '--disable-background-networking', '--disable-component-update', '--disable-sync'],
  });
}

// Records every message the page posts and lets the test play the host.
function instalarPonte() {
  const alvo = new EventTarget();
  window.__enviados = [];
  window.chrome = window.chrome || {};
  window.chrome.webview = {
    postMessage: (m) => { window.__enviados.push(m); },
    addEventListener: (...a) => alvo.addEventListener(...a),
    removeEventListener: (...a) => alvo.removeEventListener(...a),
  };
  window.__host = (data) => {
    const e = new Event('message');
    e.data = data;
    alvo.dispatchEvent(e);
  };
}

/**
 * Opens the page at the launcher's window size.
 * opcoes.ponte: install the bridge (default true); opcoes.relogio: install Playwright's clock;
 * opcoes.antes(page): extra set-up before navigation.
 */
export async function abrirPagina(navegador, opcoes = {}) {
  const { ponte = true, relogio = false, antes, ...contexto } = opcoes;
  // Still background by default: the animation only costs time where it is not under test.
  const ctx = await navegador.newContext({
    viewport: { width: 1100, height: 640 }, reducedMotion: 'reduce', ...contexto,
  });
  const page = await ctx.newPage();
  const erros = [];
  page.on('pageerror', (e) => erros.push(e));
  page.erros = erros;
  if (ponte) await page.addInitScript(instalarPonte);
  if (relogio) await page.clock.install();
  if (antes) await antes(page);
  await page.goto(PAGINA);
  // Stop the clock from following real time, so only runFor moves it.
  if (relogio) await page.clock.pauseAt(Date.now() + 1000);
  return page;
}

export const fecharPagina = (page) => page.context().close();

/** Loads the page afresh in the same tab: a new document is far cheaper than a new tab. */
export async function recarregar(page) {
  page.erros.length = 0;
  await page.goto(PAGINA);
}

/** Delivers one host message, as the already parsed object the bridge gives. */
export const host = (page, msg) => page.evaluate((m) => window.__host(m), msg);

/** Everything the page posted so far: checks each is a string and returns the parsed objects. */
export async function enviados(page) {
  const brutos = await page.evaluate(() => window.__enviados.slice());
  return brutos.map((b) => {
    if (typeof b !== 'string') throw new Error('page posted a non-string: ' + JSON.stringify(b));
    return JSON.parse(b);
  });
}

/** Forgets the recorded messages (for example the start-up "pronto"). */
export const limpar = (page) => page.evaluate(() => { window.__enviados.length = 0; });

export const INICIO = {
  tipo: 'inicio',
  versaoLauncher: '1.2.5',
  canais: [{ id: 'oficial', nome: 'Oficial' }, { id: 'teste', nome: 'Teste' }, { id: 'ptr', nome: 'PTR' }],
  canal: 0,
  pasta: 'C:\\Jogos\\Valdren\\Oficial',
  discord: 'https://discord.example/valdren',
  site: 'https://valdren.example',
};

export function estado(fase, campos = {}) {
  return {
    tipo: 'estado', fase, texto: '', atual: 0, total: 0, bytes: 0, bytesTotal: 0, velocidade: 0, ...campos,
  };
}

export const texto = (page, id) => page.locator('#' + id).evaluate((el) => el.textContent);

export function pastaDeTelas() {
  const dir = process.env.PAGE_SHOT_DIR;
  if (!dir) return null;
  fs.mkdirSync(dir, { recursive: true });
  return dir;
}
