// The start-up conversation, the host messages "inicio", "pasta" and "aviso",
// and the commands the controls send.

import { test, before, after } from 'node:test';
import assert from 'node:assert/strict';
import {
  abrirNavegador, abrirPagina, fecharPagina, recarregar, host, estado, enviados, limpar, texto, INICIO,
} from './apoio.mjs';

let navegador;
before(async () => { navegador = await abrirNavegador(); });
after(async () => { await navegador?.close(); });

const abas = (page) => page.$$eval('#abas button', (bs) => bs.map((b) => [b.textContent, b.getAttribute('aria-pressed')]));

test('without the bridge the page shows a sample download and posts nothing', async () => {
  const page = await abrirPagina(navegador, {
    ponte: false,
    antes: (p) => p.addInitScript(() => {
      // Anything the page might try to send through would land here.
      window.__tentativas = [];
      const original = window.postMessage.bind(window);
      window.postMessage = (...a) => { window.__tentativas.push(a); return original(...a); };
      window.chrome = window.chrome || {};
      Object.defineProperty(window.chrome, 'webview', {
        configurable: true,
        get() { window.__tentativas.push('webview lido'); return undefined; },
      });
    }),
  });
  try {
    assert.deepEqual(await abas(page), [['Oficial', 'true'], ['Teste', 'false']]);
    assert.equal(await texto(page, 'texto'), 'Atualizando 1/82 — 11%');
    assert.equal(await texto(page, 'detalhe'), 'Baixando… 61,9 MB / 546,6 MB — 8,4 MB/s');
    assert.equal(await page.$eval('#preenche', (e) => e.style.width), '11.3%');
    assert.equal(await texto(page, 'principal'), 'Pausar');

    // Using the controls must not break anything either.
    await page.click('#principal');
    await page.click('#btnMin');
    await page.click('#btnConfig');
    await page.keyboard.press('Escape');
    const tentativas = await page.evaluate(() => window.__tentativas);
    assert.ok(tentativas.every((x) => x === 'webview lido'), JSON.stringify(tentativas));
    assert.deepEqual(page.erros, []);
  } finally {
    await fecharPagina(page);
  }
});

test('with the bridge the page says "pronto" exactly once, as JSON text', async () => {
  const page = await abrirPagina(navegador);
  try {
    await page.waitForTimeout(300);
    const brutos = await page.evaluate(() => window.__enviados);
    assert.deepEqual(brutos, ['{"cmd":"pronto"}']);
    assert.equal(await texto(page, 'texto'), 'Iniciando…');
    assert.equal(await texto(page, 'principal'), 'Verificando');
    assert.equal(await page.isDisabled('#principal'), true);
    assert.equal(await texto(page, 'detalhe'), '\u00a0');
    assert.equal(await page.isVisible('#modal'), false);
    assert.equal(await page.isVisible('#aviso'), false);
    assert.equal(await page.title(), 'Valdren');
    // A desktop window: nothing scrolls and no text can be selected.
    const janela = await page.evaluate(() => {
      const raiz = document.scrollingElement;
      return [getComputedStyle(document.body).userSelect, getComputedStyle(raiz).overflow,
        raiz.scrollWidth <= innerWidth && raiz.scrollHeight <= innerHeight];
    });
    assert.deepEqual(janela, ['none', 'hidden', true]);
    assert.equal(await page.getAttribute('html', 'lang'), 'pt-BR');
  } finally {
    await fecharPagina(page);
  }
});

test('with the bridge', async (t) => {
  let page = await abrirPagina(navegador);
  t.after(() => fecharPagina(page));
  t.beforeEach(async () => {
    await recarregar(page);
    await host(page, INICIO);
    await limpar(page);
  });
  t.afterEach(() => assert.deepEqual(page.erros, []));

  await t.test('"inicio" fills tabs, launcher version, folder and links', async () => {
    assert.deepEqual(await abas(page), [['Oficial', 'true'], ['Teste', 'false'], ['PTR', 'false']]);
    assert.equal(await texto(page, 'vLauncher'), 'Launcher: 1.2.5');
    assert.equal(await texto(page, 'vLocalTxt'), 'C:\\Jogos\\Valdren\\Oficial');
    assert.equal(await page.isVisible('#btnDiscord'), true);
    assert.equal(await page.isVisible('#btnSite'), true);

    // A second "inicio" (a reload of the host side) rebuilds rather than appends.
    await host(page, {
      ...INICIO, canais: [{ id: 'oficial', nome: 'Oficial' }, { id: 'teste', nome: 'Teste' }],
      canal: 1, pasta: '', site: '', versaoLauncher: '1.2.6',
    });
    assert.deepEqual(await abas(page), [['Oficial', 'false'], ['Teste', 'true']]);
    assert.equal(await texto(page, 'vLauncher'), 'Launcher: 1.2.6');
    assert.equal(await texto(page, 'vLocalTxt'), 'C:\\Jogos\\Valdren\\Oficial', 'empty folder keeps the old one');
    assert.equal(await page.isVisible('#btnDiscord'), true);
    assert.equal(await page.isVisible('#btnSite'), false);

    await host(page, { ...INICIO, discord: '', site: 'https://valdren.example' });
    assert.equal(await page.isVisible('#btnDiscord'), false);
    assert.equal(await page.isVisible('#btnSite'), true);
    assert.deepEqual(await enviados(page), []);
  });

  await t.test('"pasta" replaces the folder only when not empty; other types are ignored', async () => {
    await host(page, { tipo: 'pasta', pasta: 'D:\\Valdren\\Teste' });
    assert.equal(await texto(page, 'vLocalTxt'), 'D:\\Valdren\\Teste');
    await host(page, { tipo: 'pasta', pasta: '' });
    assert.equal(await texto(page, 'vLocalTxt'), 'D:\\Valdren\\Teste');
    await host(page, { tipo: 'desconhecido', pasta: 'X' });
    await host(page, { pasta: 'Y' });
    assert.equal(await texto(page, 'vLocalTxt'), 'D:\\Valdren\\Teste');
  });

  await t.test('a tab click marks it at once and sends "canal" with its index', async () => {
    await host(page, estado('pronto'));
    await page.click('#abas button >> nth=2');
    assert.deepEqual(await abas(page), [['Oficial', 'false'], ['Teste', 'false'], ['PTR', 'true']]);
    await page.click('#abas button >> nth=2');
    await page.click('#abas button >> nth=0');
    const msgs = await enviados(page);
    assert.deepEqual(msgs, [{ cmd: 'canal', indice: 2 }, { cmd: 'canal', indice: 0 }]);
    assert.equal(typeof msgs[0].indice, 'number');
  });

  await t.test('tabs and the folder do nothing while a run is busy', async () => {
    for (const fase of ['verificando', 'baixando', 'instalando']) {
      await host(page, estado(fase));
      // Forced: Playwright itself would wait for a control marked aria-disabled.
      await page.click('#abas button >> nth=1', { force: true });
      await page.click('#vLocalTxt', { force: true });
      assert.deepEqual(await enviados(page), [], fase);
      assert.deepEqual((await abas(page)).map((a) => a[1]), ['true', 'false', 'false'], fase);
    }
    for (const fase of ['pronto', 'desatualizado', 'parado', 'erro', 'reiniciar']) {
      await host(page, estado(fase));
      await limpar(page);
      await page.click('#vLocalTxt');
      assert.deepEqual(await enviados(page), [{ cmd: 'escolherPasta' }], fase);
    }
    await page.click('#abas button >> nth=1');
    assert.deepEqual(await enviados(page), [{ cmd: 'escolherPasta' }, { cmd: 'canal', indice: 1 }]);
  });

  await t.test('window and link buttons', async () => {
    await page.click('#btnMin');
    await page.click('#btnFechar');
    await page.click('#btnDiscord');
    await page.click('#btnSite');
    assert.deepEqual(await enviados(page), [
      { cmd: 'minimizar' }, { cmd: 'fechar' },
      { cmd: 'abrir', url: 'https://discord.example/valdren' },
      { cmd: 'abrir', url: 'https://valdren.example' },
    ]);
    // The link comes from the latest "inicio".
    await limpar(page);
    await host(page, { ...INICIO, site: 'https://outro.example/noticias' });
    await page.click('#btnSite');
    assert.deepEqual(await enviados(page), [{ cmd: 'abrir', url: 'https://outro.example/noticias' }]);
  });

  await t.test('a left press on the header or the logo area drags the window', async () => {
    const pressionar = async (seletor, botao = 'left') => {
      const caixa = await page.locator(seletor).boundingBox();
      await page.mouse.move(caixa.x + caixa.width / 2, caixa.y + caixa.height / 2);
      await page.mouse.down({ button: botao });
      await page.mouse.up({ button: botao });
      const msgs = await enviados(page);
      await limpar(page);
      return msgs.filter((m) => m.cmd === 'arrastar').length;
    };
    assert.equal(await pressionar('.marca'), 1, 'brand');
    assert.equal(await pressionar('.rotulo'), 1, 'header label');
    assert.equal(await pressionar('#logo'), 1, 'logo');
    assert.equal(await pressionar('#centro'), 1, 'main area');
    assert.equal(await pressionar('.marca', 'right'), 0, 'right button');
    assert.equal(await pressionar('#abas button >> nth=1'), 0, 'tab');
    assert.equal(await pressionar('#btnMin'), 0, 'minimise button');
    assert.equal(await pressionar('#btnFechar'), 0, 'close button');
    assert.equal(await pressionar('#rodape .progresso'), 0, 'footer');
  });

  await t.test('"aviso" shows and hides 2600 ms after the latest notice', async () => {
    const anterior = page;
    page = await abrirPagina(navegador, { relogio: true });
    await fecharPagina(anterior);
    await host(page, { tipo: 'aviso', texto: 'Configurações salvas.' });
    assert.equal(await page.isVisible('#aviso'), true);
    assert.equal(await texto(page, 'aviso'), 'Configurações salvas.');
    await page.clock.runFor(2000);
    await host(page, { tipo: 'aviso', texto: 'Pasta de instalação atualizada.' });
    await page.clock.runFor(2000);
    assert.equal(await texto(page, 'aviso'), 'Pasta de instalação atualizada.');
    assert.equal(await page.isVisible('#aviso'), true, 'a new notice restarts the time');
    await page.clock.runFor(599);
    assert.equal(await page.isVisible('#aviso'), true);
    await page.clock.runFor(1);
    assert.equal(await page.isVisible('#aviso'), false);
  });
});

test('keyboard use', async (t) => {
  const page = await abrirPagina(navegador);
  await host(page, INICIO);
  await host(page, estado('pronto'));
  await limpar(page);
  t.after(() => fecharPagina(page));

  await t.test('Tab reaches every control of the window', async () => {
    const vistos = [];
    for (let i = 0; i < 14; i++) {
      await page.keyboard.press('Tab');
      vistos.push(await page.evaluate(() => {
        const a = document.activeElement;
        return a.id || a.textContent;
      }));
    }
    for (const alvo of ['Oficial', 'Teste', 'PTR', 'btnMin', 'btnFechar', 'btnDiscord', 'btnSite',
      'btnConfig', 'principal', 'vLocalTxt']) {
      assert.ok(vistos.includes(alvo), `${alvo} not reached: ${vistos.join(', ')}`);
    }
    assert.deepEqual(await enviados(page), []);
  });

  await t.test('focused controls show a gold ring', async () => {
    await page.focus('body');
    await page.keyboard.press('Tab');
    const anel = await page.evaluate(() => {
      const s = getComputedStyle(document.activeElement);
      return [s.outlineStyle, s.outlineColor];
    });
    assert.deepEqual(anel, ['solid', 'rgb(216, 178, 106)']);
  });

  await t.test('Enter and Space work on tabs, buttons and the folder', async () => {
    await page.focus('#abas button >> nth=1');
    await page.keyboard.press('Enter');
    await page.focus('#vLocalTxt');
    await page.keyboard.press('Enter');
    await page.keyboard.press('Space');
    await page.focus('#principal');
    await page.keyboard.press('Space');
    assert.deepEqual(await enviados(page), [
      { cmd: 'canal', indice: 1 }, { cmd: 'escolherPasta' }, { cmd: 'escolherPasta' }, { cmd: 'jogar' },
    ]);
  });
});
