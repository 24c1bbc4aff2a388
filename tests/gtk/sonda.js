'use strict';
// Added to a copy of the real page for the player's-session test: reports what the page shows and
// where its controls are, through the host's own "abrir" command (the test's stand-in browser
// records the links). Only a change is reported.
(() => {
  const ponte = window.chrome.webview;
  const $ = (id) => document.getElementById(id);
  const caixa = (el) => {
    const r = el.getBoundingClientRect();
    return [Math.round(r.left), Math.round(r.top), Math.round(r.width), Math.round(r.height)];
  };
  let ultimo = '';
  function relatar() {
    const estado = {
      texto: $('texto').textContent,
      detalhe: $('detalhe').textContent,
      principal: $('principal').textContent,
      desativado: $('principal').disabled,
      barra: $('preenche').style.width,
      abas: [...$('abas').children].map((b) => [b.textContent, b.getAttribute('aria-pressed'), caixa(b)]),
      cliente: $('vCliente').textContent,
      servidor: $('vServidor').textContent,
      pasta: $('vLocalTxt').textContent,
      modal: !$('modal').hidden,
      aviso: $('aviso').hidden ? '' : $('aviso').textContent,
      foco: document.activeElement ? document.activeElement.id : '',
      video: { visivel: !$('video').hidden, ceu: !$('ceu').hidden, pronto: $('video').readyState,
               tocando: $('video').currentTime > 0, erro: $('video').error ? $('video').error.code : 0 },
      valores: { cRes: $('cRes').value, cModo: $('cModo').value, cInstancias: $('cInstancias').value },
      caixas: Object.fromEntries(['principal', 'btnConfig', 'cSalvar', 'cRes', 'cModo', 'vLocalTxt']
        .map((id) => [id, caixa($(id))])),
    };
    const texto = JSON.stringify(estado);
    if (texto === ultimo) return;
    ultimo = texto;
    ponte.postMessage(JSON.stringify({ cmd: 'abrir', url: 'https://sonda.invalid/#' + encodeURIComponent(texto) }));
  }
  setInterval(relatar, 100);
})();
