// The settings dialog: filling from "config", saving, closing and keyboard handling.

import { test, before, after } from 'node:test';
import assert from 'node:assert/strict';
import {
  abrirNavegador, abrirPagina, fecharPagina, recarregar, host, estado, enviados, limpar, INICIO,
} from './apoio.mjs';

let navegador;
let page;
before(async () => {
  navegador = await abrirNavegador();
  page = await abrirPagina(navegador);
});
after(async () => {
  await fecharPagina(page);
  await navegador?.close();
});

async function abrirDialogo(config) {
  await recarregar(page);
  await host(page, INICIO);
  await host(page, estado('pronto'));
  await limpar(page);
  await page.click('#btnConfig');
  if (config) await host(page, { tipo: 'config', config });
}

const CONFIG = {
  resX: 1600, resY: 900, modo: 2, qualidade: 3, sombras: 0, efeitos: 1,
  geral: 75, musica: 20, som: 5, instancias: 3, idioma: 'pt-BR',
};

const valores = () => page.evaluate(() => Object.fromEntries(
  ['cInstancias', 'cRes', 'cModo', 'cIdioma', 'cGeral', 'cMusica', 'cSom', 'cQualidade', 'cSombras', 'cEfeitos']
    .map((id) => [id, document.getElementById(id).value]),
));

async function salvar() {
  await page.click('#cSalvar');
  const msgs = await enviados(page);
  assert.equal(msgs.length, 1);
  assert.equal(msgs[0].cmd, 'salvarConfig');
  return msgs[0].dados;
}

test('the settings button asks for the settings and opens the dialog', async () => {
  await abrirDialogo();
  assert.deepEqual(await enviados(page), [{ cmd: 'config' }]);
  assert.equal(await page.isVisible('#modal'), true);
  assert.equal(await page.evaluate(() => document.activeElement.id), 'cInstancias');
});

test('"config" fills the fields and saving sends all eleven with their types', async () => {
  await abrirDialogo(CONFIG);
  assert.deepEqual(await valores(), {
    cInstancias: '3', cRes: '1600x900', cModo: '2', cIdioma: 'pt-BR', cGeral: '75', cMusica: '20',
    cSom: '5', cQualidade: '3', cSombras: '0', cEfeitos: '1',
  });
  assert.equal(await page.textContent('label:has(#cGeral) output'), '75');

  await page.selectOption('#cRes', '2560x1440');
  await page.selectOption('#cModo', '0');
  await page.selectOption('#cSombras', '2');
  await page.fill('#cMusica', '64');
  await limpar(page);
  const dados = await salvar();
  assert.deepEqual(dados, {
    instancias: 3, resX: 2560, resY: 1440, modo: 0, idioma: 'pt-BR',
    geral: 75, musica: 64, som: 5, qualidade: 3, sombras: 2, efeitos: 1,
  });
  for (const [k, v] of Object.entries(dados)) {
    assert.equal(typeof v, k === 'idioma' ? 'string' : 'number', k);
  }
  assert.equal(await page.isVisible('#modal'), false);
  assert.equal(await page.evaluate(() => document.activeElement.id), 'btnConfig');
});

test('an unlisted resolution becomes an option of its own and is saved back', async () => {
  await abrirDialogo({ ...CONFIG, resX: 3440, resY: 1440 });
  await host(page, { tipo: 'config', config: { ...CONFIG, resX: 3440, resY: 1440 } });
  const res = await page.$$eval('#cRes option', (os) => os.map((o) => [o.value, o.textContent]));
  assert.deepEqual(res.filter(([v]) => v === '3440x1440'), [['3440x1440', '3440 × 1440']], 'added once');
  assert.equal(res.length, 5);
  await limpar(page);
  const dados = await salvar();
  assert.equal(dados.resX, 3440);
  assert.equal(dados.resY, 1440);
});

test('missing or empty values fall back to safe choices', async () => {
  await abrirDialogo({ ...CONFIG, instancias: 0, idioma: '' });
  assert.equal(await page.inputValue('#cInstancias'), '1');
  assert.equal(await page.inputValue('#cIdioma'), 'pt-BR');
  const semInstancias = { ...CONFIG };
  delete semInstancias.instancias;
  await host(page, { tipo: 'config', config: { ...semInstancias, instancias: 4 } });
  await host(page, { tipo: 'config', config: semInstancias });
  assert.equal(await page.inputValue('#cInstancias'), '1');

  // A language this page does not list must survive a save unchanged.
  await host(page, { tipo: 'config', config: { ...CONFIG, idioma: 'en-US' } });
  await limpar(page);
  assert.equal((await salvar()).idioma, 'en-US');
});

test('Cancelar and Escape close without sending, and focus goes back', async () => {
  await abrirDialogo(CONFIG);
  await page.selectOption('#cModo', '0');
  await limpar(page);
  await page.click('#cCancelar');
  assert.equal(await page.isVisible('#modal'), false);
  assert.equal(await page.evaluate(() => document.activeElement.id), 'btnConfig');

  await page.keyboard.press('Enter');
  assert.equal(await page.isVisible('#modal'), true, 'Enter on the focused settings button reopens');
  await page.keyboard.press('Escape');
  assert.equal(await page.isVisible('#modal'), false);
  assert.equal(await page.evaluate(() => document.activeElement.id), 'btnConfig');
  assert.deepEqual(await enviados(page), [{ cmd: 'config' }]);
});

test('while open, the dialog keeps the focus and the window behind ignores the mouse', async () => {
  await abrirDialogo(CONFIG);
  const ordem = [];
  for (let i = 0; i < 13; i++) {
    await page.keyboard.press('Tab');
    ordem.push(await page.evaluate(() => document.activeElement.id));
  }
  assert.deepEqual(ordem, ['cRes', 'cModo', 'cIdioma', 'cGeral', 'cQualidade', 'cMusica', 'cSombras', 'cSom',
    'cEfeitos', 'cCancelar', 'cSalvar', 'cInstancias', 'cRes']);
  await page.focus('#cInstancias');
  await page.keyboard.press('Shift+Tab');
  assert.equal(await page.evaluate(() => document.activeElement.id), 'cSalvar');

  // A press where the tabs are leaves them alone and does not drag the window.
  await limpar(page);
  const aba = await page.locator('#abas button >> nth=1').boundingBox();
  await page.mouse.click(aba.x + aba.width / 2, aba.y + aba.height / 2);
  assert.deepEqual(await enviados(page), []);
  assert.equal(await page.isVisible('#modal'), true);
});
