// How the page shows the run's "estado" messages and what the main button sends.

import { test, before, after } from 'node:test';
import assert from 'node:assert/strict';
import {
  abrirNavegador, abrirPagina, fecharPagina, host, estado, enviados, limpar, texto, NBSP, INICIO,
} from './apoio.mjs';

let navegador;
let page;
before(async () => {
  navegador = await abrirNavegador();
  page = await abrirPagina(navegador);
  await host(page, INICIO);
});
after(async () => {
  await fecharPagina(page);
  await navegador?.close();
});

async function vista() {
  return page.evaluate(() => {
    const $ = (id) => document.getElementById(id);
    return {
      texto: $('texto').textContent,
      cor: getComputedStyle($('texto')).color,
      largura: $('preenche').style.width,
      detalhe: $('detalhe').textContent,
      botao: $('principal').textContent,
      ativo: !$('principal').disabled,
    };
  });
}

const BRANCO = 'rgb(239, 230, 214)';
const ERRO = 'rgb(226, 115, 95)';

test('each phase sets status, bar, detail and main button', async (t) => {
  const casos = [
    ['verificando with a count', estado('verificando', { texto: 'Verificando arquivos…', atual: 10, total: 40 }),
      { texto: 'Verificando arquivos…', largura: '25%', detalhe: '10 de 40 arquivos', botao: 'Aguarde', ativo: false }],
    ['verificando with a bar to one decimal', estado('verificando', { texto: 'Verificando arquivos…', atual: 1, total: 3 }),
      { largura: '33.3%', detalhe: '1 de 3 arquivos' }],
    ['verificando before the count is known', estado('verificando', { texto: 'Buscando atualizações…' }),
      { texto: 'Buscando atualizações…', largura: '0%', detalhe: NBSP, botao: 'Aguarde', ativo: false }],
    ['baixando with speed', estado('baixando', {
      texto: 'Atualizando 1/82', atual: 1, total: 82, bytes: 64900000, bytesTotal: 573200000, velocidade: 8800000,
    }), {
      texto: 'Atualizando 1/82 — 11%', largura: '11.3%',
      detalhe: 'Baixando… 61,9 MB / 546,6 MB — 8,4 MB/s', botao: 'Pausar', ativo: true,
    }],
    ['baixando before the speed is known, half percent rounds up', estado('baixando', {
      texto: 'Atualizando 3/8', bytes: 1572864, bytesTotal: 12582912,
    }), { texto: 'Atualizando 3/8 — 13%', largura: '12.5%', detalhe: 'Baixando… 1,5 MB / 12,0 MB' }],
    ['baixando at the first byte', estado('baixando', { texto: 'Atualizando 1/2', bytes: 0, bytesTotal: 1048576 }),
      { texto: 'Atualizando 1/2 — 0%', largura: '0%', detalhe: 'Baixando… 0,0 MB / 1,0 MB' }],
    ['baixando with nothing to count', estado('baixando', { texto: 'Descompactando', bytes: 500, bytesTotal: 0, velocidade: 9 }),
      { texto: 'Descompactando — 0%', largura: '0%', detalhe: NBSP, botao: 'Pausar', ativo: true }],
    ['instalando', estado('instalando', { texto: 'Instalando…', atual: 3, total: 9 }),
      { texto: 'Instalando…', largura: '100%', detalhe: NBSP, botao: 'Aguarde', ativo: false }],
    ['pronto', estado('pronto', { texto: 'Jogo atualizado.' }),
      { texto: 'Jogo atualizado.', largura: '100%', detalhe: NBSP, botao: 'Jogar', ativo: true }],
    ['desatualizado', estado('desatualizado', { texto: '3 arquivos para atualizar (12,0 MB)', atual: 2, total: 3 }),
      { largura: '0%', detalhe: 'Clique em Atualizar para baixar.', botao: 'Atualizar', ativo: true }],
    ['parado', estado('parado', { texto: 'Atualização pausada.', bytes: 5, bytesTotal: 10 }),
      { largura: '0%', detalhe: NBSP, botao: 'Atualizar', ativo: true, cor: BRANCO }],
    ['erro', estado('erro', { texto: 'Atualização interrompida: sem conexão' }),
      { texto: 'Atualização interrompida: sem conexão', largura: '0%', botao: 'Atualizar', ativo: true, cor: ERRO }],
    ['reiniciar', estado('reiniciar', { texto: 'Reiniciando o launcher…' }),
      { largura: '0%', botao: 'Aguarde', ativo: false, cor: BRANCO }],
    ['an unknown phase', estado('qualquer', { texto: 'x' }), { botao: 'Aguarde', ativo: false }],
  ];
  for (const [nome, msg, esperado] of casos) {
    await t.test(nome, async () => {
      await host(page, msg);
      const v = await vista();
      for (const [k, valor] of Object.entries(esperado)) assert.equal(v[k], valor, `${nome}: ${k}`);
      if (msg.fase !== 'erro' && !esperado.cor) assert.equal(v.cor, BRANCO, `${nome}: colour`);
    });
  }
});

test('a download past its total keeps the bar inside the track', async () => {
  await host(page, estado('baixando', { texto: 'Atualizando 1/1', bytes: 30, bytesTotal: 20 }));
  const v = await vista();
  assert.equal(v.largura, '100%');
  assert.equal(v.texto, 'Atualizando 1/1 — 100%');
});

test('the versions line follows the run and ignores empty versions', async () => {
  await host(page, estado('verificando', { texto: 'Buscando atualizações…' }));
  assert.equal(await texto(page, 'vCliente'), 'Cliente: –');
  assert.equal(await texto(page, 'vServidor'), 'Servidor: –');

  await host(page, estado('desatualizado', { versaoCliente: '0.9.14', versaoServidor: '0.9.15' }));
  assert.equal(await texto(page, 'vCliente'), 'Cliente: 0.9.14');
  assert.equal(await texto(page, 'vServidor'), 'Servidor: 0.9.15');

  await host(page, estado('baixando', { versaoCliente: '', versaoServidor: '' }));
  await host(page, estado('erro'));
  assert.equal(await texto(page, 'vCliente'), 'Cliente: 0.9.14');
  assert.equal(await texto(page, 'vServidor'), 'Servidor: 0.9.15');
});

test('the main button sends the command of the phase', async () => {
  const porFase = [
    ['baixando', 'cancelar'], ['pronto', 'jogar'],
    ['desatualizado', 'atualizar'], ['parado', 'atualizar'], ['erro', 'atualizar'],
  ];
  for (const [fase, cmd] of porFase) {
    await host(page, estado(fase, { bytesTotal: 10 }));
    await limpar(page);
    await page.click('#principal');
    assert.deepEqual(await enviados(page), [{ cmd }], fase);
  }
  for (const fase of ['verificando', 'instalando', 'reiniciar']) {
    await host(page, estado(fase));
    assert.equal(await page.isDisabled('#principal'), true, fase);
  }
});
