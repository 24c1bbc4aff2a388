// Screenshots of the main states at the launcher's window size, for a person to look at.
// They are written only when PAGE_SHOT_DIR is set; the checks run either way.

import { test, before, after } from 'node:test';
import assert from 'node:assert/strict';
import path from 'node:path';
import {
  abrirNavegador, abrirPagina, fecharPagina, host, estado, INICIO, pastaDeTelas,
} from './apoio.mjs';

let navegador;
before(async () => { navegador = await abrirNavegador(); });
after(async () => { await navegador?.close(); });

const CONFIG = {
  tipo: 'config',
  config: {
    resX: 1920, resY: 1080, modo: 1, qualidade: 2, sombras: 1, efeitos: 3,
    geral: 80, musica: 45, som: 60, instancias: 2, idioma: 'pt-BR',
  },
};
const VERSOES = { versaoCliente: '0.9.14', versaoServidor: '0.9.15' };

async function fotografar(page, nome) {
  // Every picture must be fully loaded and shown at its natural proportions.
  const imagens = await page.evaluate(() => [...document.images].map((i) => [i.src, i.complete && i.naturalWidth > 0]));
  for (const [src, ok] of imagens) assert.ok(ok, 'picture not loaded: ' + src);
  const dir = pastaDeTelas();
  if (dir) await page.screenshot({ path: path.join(dir, nome), animations: 'disabled' });
}

test('screenshots of idle, downloading and settings', async () => {
  const page = await abrirPagina(navegador);
  try {
    await host(page, INICIO);
    await host(page, CONFIG);
    await host(page, estado('pronto', { texto: 'Jogo atualizado.', ...VERSOES }));
    await fotografar(page, 'ocioso.png');

    await host(page, estado('baixando', {
      texto: 'Atualizando 12/82', atual: 12, total: 82,
      bytes: 214_000_000, bytesTotal: 573_200_000, velocidade: 11_300_000, ...VERSOES,
    }));
    await fotografar(page, 'baixando.png');

    await host(page, estado('pronto', { texto: 'Jogo atualizado.', ...VERSOES }));
    await page.click('#btnConfig');
    await host(page, CONFIG);
    await fotografar(page, 'configuracoes.png');
    assert.deepEqual(page.erros, []);
  } finally {
    await fecharPagina(page);
  }
});
