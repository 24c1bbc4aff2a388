'use strict';

(() => {
  const $ = (id) => document.getElementById(id);
  const NBSP = '\u00a0';
  const OCUPADAS = new Set(['verificando', 'baixando', 'instalando']);

  // The host is the embedded browser's bridge; in an ordinary browser it is absent.
  const ponte = window.chrome && window.chrome.webview ? window.chrome.webview : null;

  const estado = { fase: '', canais: [], canal: 0, links: { discord: '', site: '' } };

  const ocupado = () => OCUPADAS.has(estado.fase);

  function enviar(cmd, extra) {
    if (!ponte) return;
    // The host only reads string messages, so the object always goes as JSON text.
    ponte.postMessage(JSON.stringify({ cmd, ...extra }));
  }

  const num = (v) => (Number.isFinite(Number(v)) ? Number(v) : 0);
  const mb = (n) => (n / 1048576).toFixed(1).replace('.', ',') + ' MB';

  // ---- Channels and folder ----------------------------------------------

  function desenharAbas() {
    const abas = estado.canais.map((c, i) => {
      const b = document.createElement('button');
      b.type = 'button';
      b.className = 'aba';
      b.textContent = c && c.nome != null ? String(c.nome) : '';
      b.addEventListener('click', () => escolherCanal(i));
      return b;
    });
    $('abas').replaceChildren(...abas);
    marcarAba();
    marcarOcupado();
  }

  function marcarAba() {
    [...$('abas').children].forEach((b, i) => b.setAttribute('aria-pressed', String(i === estado.canal)));
  }

  function escolherCanal(i) {
    if (ocupado() || i === estado.canal) return;
    // Marked at once: the host answers with the new folder, not with a confirmation.
    estado.canal = i;
    marcarAba();
    enviar('canal', { indice: i });
  }

  // Tabs and the folder only refuse clicks during a run; they stay focusable.
  function marcarOcupado() {
    const o = ocupado();
    document.body.classList.toggle('ocupado', o);
    [...$('abas').children, $('vLocalTxt')].forEach((el) => {
      if (o) el.setAttribute('aria-disabled', 'true');
      else el.removeAttribute('aria-disabled');
    });
  }

  function mostrarPasta(pasta) {
    if (typeof pasta !== 'string' || pasta === '') return;
    const el = $('vLocalTxt');
    el.textContent = pasta;
    el.setAttribute('aria-label', 'Local: ' + pasta);
  }

  function mostrarLinks() {
    $('btnDiscord').hidden = !estado.links.discord;
    $('btnSite').hidden = !estado.links.site;
  }

  // ---- Host messages -----------------------------------------------------

  function inicio(m) {
    estado.canais = Array.isArray(m.canais) ? m.canais : [];
    estado.canal = Math.trunc(num(m.canal));
    estado.links = { discord: String(m.discord || ''), site: String(m.site || '') };
    if (m.versaoLauncher != null) $('vLauncher').textContent = 'Launcher: ' + m.versaoLauncher;
    mostrarPasta(m.pasta);
    mostrarLinks();
    desenharAbas();
  }

  const ROTULO_BOTAO = {
    baixando: ['Pausar', true],
    verificando: ['Aguarde', false],
    instalando: ['Aguarde', false],
    desatualizado: ['Atualizar', true],
    parado: ['Atualizar', true],
    erro: ['Atualizar', true],
    pronto: ['Jogar', true],
  };

  function mostrarEstado(m) {
    const fase = String(m.fase || '');
    estado.fase = fase;

    const bytes = num(m.bytes);
    const bytesTotal = num(m.bytesTotal);
    const atual = num(m.atual);
    const total = num(m.total);
    const velocidade = num(m.velocidade);

    let pct = 0;
    let detalhe = NBSP;
    if (fase === 'baixando' && bytesTotal > 0) {
      pct = (bytes / bytesTotal) * 100;
      detalhe = 'Baixando… ' + mb(bytes) + ' / ' + mb(bytesTotal);
      if (velocidade > 0) detalhe += ' — ' + mb(velocidade) + '/s';
    } else if (fase === 'verificando' && total > 0) {
      pct = (atual / total) * 100;
      detalhe = atual + ' de ' + total + ' arquivos';
    } else if (fase === 'pronto' || fase === 'instalando') {
      pct = 100;
    } else if (fase === 'desatualizado') {
      detalhe = 'Clique em Atualizar para baixar.';
    }
    // Counters from a resumed download can briefly run past the total.
    pct = Math.min(100, Math.max(0, pct));

    const texto = $('texto');
    texto.textContent = String(m.texto ?? '') + (fase === 'baixando' ? ' — ' + Math.round(pct) + '%' : '');
    texto.classList.toggle('erro', fase === 'erro');

    $('preenche').style.width = pct.toFixed(1) + '%';
    $('barra').setAttribute('aria-valuenow', String(Math.round(pct)));
    $('detalhe').textContent = detalhe;

    if (m.versaoCliente) $('vCliente').textContent = 'Cliente: ' + m.versaoCliente;
    if (m.versaoServidor) $('vServidor').textContent = 'Servidor: ' + m.versaoServidor;

    const [rotulo, ativo] = ROTULO_BOTAO[fase] || ['Aguarde', false];
    const principal = $('principal');
    principal.textContent = rotulo;
    principal.disabled = !ativo;

    marcarOcupado();
  }

  // Selects only take values they list; an unknown one keeps the current choice.
  function escolher(sel, valor) {
    const v = String(valor);
    if ([...sel.options].some((o) => o.value === v)) sel.value = v;
  }

  function acrescentarOpcao(sel, valor, rotulo) {
    if (![...sel.options].some((o) => o.value === valor)) sel.add(new Option(rotulo, valor));
    sel.value = valor;
  }

  function preencherConfig(c) {
    if (!c || typeof c !== 'object') return;
    escolher($('cInstancias'), Math.min(4, Math.max(1, Math.trunc(num(c.instancias)) || 1)));
    const resX = Math.trunc(num(c.resX));
    const resY = Math.trunc(num(c.resY));
    if (resX > 0 && resY > 0) acrescentarOpcao($('cRes'), resX + 'x' + resY, resX + ' × ' + resY);
    if (c.modo != null) escolher($('cModo'), Math.trunc(num(c.modo)));
    for (const [id, campo] of [['cQualidade', 'qualidade'], ['cSombras', 'sombras'], ['cEfeitos', 'efeitos']]) {
      if (c[campo] != null) escolher($(id), Math.trunc(num(c[campo])));
    }
    // An unlisted language is kept as an option of its own so that saving does not lose it.
    const idioma = typeof c.idioma === 'string' && c.idioma !== '' ? c.idioma : 'pt-BR';
    acrescentarOpcao($('cIdioma'), idioma, idioma);
    for (const [id, campo] of [['cGeral', 'geral'], ['cMusica', 'musica'], ['cSom', 'som']]) {
      if (c[campo] != null) {
        $(id).value = String(Math.trunc(num(c[campo])));
        mostrarValor($(id));
      }
    }
  }

  let avisoTimer = 0;
  function mostrarAviso(texto) {
    const el = $('aviso');
    el.textContent = String(texto ?? '');
    el.hidden = false;
    // Restart the entrance animation for back-to-back notices.
    el.classList.remove('entra');
    void el.offsetWidth;
    el.classList.add('entra');
    clearTimeout(avisoTimer);
    avisoTimer = setTimeout(() => { el.hidden = true; }, 2600);
  }

  function receber(m) {
    if (typeof m === 'string') {
      try { m = JSON.parse(m); } catch { return; }
    }
    if (!m || typeof m !== 'object') return;
    switch (m.tipo) {
      case 'inicio': inicio(m); break;
      case 'pasta': mostrarPasta(m.pasta); break;
      case 'config': preencherConfig(m.config); break;
      case 'aviso': mostrarAviso(m.texto); break;
      case 'estado': mostrarEstado(m); break;
      default: break;
    }
  }

  // ---- Settings dialog ---------------------------------------------------

  const modal = $('modal');
  const foraDoModal = () => [$('topo'), $('centro'), $('rodape')];

  function abrirModal() {
    modal.hidden = false;
    foraDoModal().forEach((el) => { el.inert = true; });
    $('cInstancias').focus();
  }

  function fecharModal() {
    if (modal.hidden) return;
    modal.hidden = true;
    foraDoModal().forEach((el) => { el.inert = false; });
    $('btnConfig').focus();
  }

  function focaveis() {
    return [...modal.querySelectorAll('button, select, input')].filter((el) => !el.disabled);
  }

  document.addEventListener('keydown', (e) => {
    if (modal.hidden) return;
    if (e.key === 'Escape') {
      e.preventDefault();
      fecharModal();
    } else if (e.key === 'Tab') {
      // Keep the focus cycling inside the dialog.
      const lista = focaveis();
      const primeiro = lista[0];
      const ultimo = lista[lista.length - 1];
      if (!modal.contains(document.activeElement)) {
        e.preventDefault();
        (e.shiftKey ? ultimo : primeiro).focus();
      } else if (e.shiftKey && document.activeElement === primeiro) {
        e.preventDefault();
        ultimo.focus();
      } else if (!e.shiftKey && document.activeElement === ultimo) {
        e.preventDefault();
        primeiro.focus();
      }
    }
  });

  // The number beside a slider and the gold part of its track follow its value.
  function mostrarValor(input) {
    const out = input.parentElement.querySelector('output');
    if (out) out.value = input.value;
    input.style.setProperty('--p', input.value + '%');
  }
  for (const id of ['cGeral', 'cMusica', 'cSom']) {
    $(id).addEventListener('input', (e) => mostrarValor(e.target));
    mostrarValor($(id));
  }

  $('cCancelar').addEventListener('click', fecharModal);

  $('cSalvar').addEventListener('click', () => {
    const [resX, resY] = $('cRes').value.split('x').map(Number);
    const n = (id) => Number($(id).value);
    enviar('salvarConfig', {
      dados: {
        instancias: n('cInstancias'),
        resX,
        resY,
        modo: n('cModo'),
        idioma: $('cIdioma').value,
        geral: n('cGeral'),
        musica: n('cMusica'),
        som: n('cSom'),
        qualidade: n('cQualidade'),
        sombras: n('cSombras'),
        efeitos: n('cEfeitos'),
      },
    });
    fecharModal();
  });

  // ---- Controls ----------------------------------------------------------

  $('btnMin').addEventListener('click', () => enviar('minimizar'));
  $('btnFechar').addEventListener('click', () => enviar('fechar'));
  $('btnDiscord').addEventListener('click', () => enviar('abrir', { url: estado.links.discord }));
  $('btnSite').addEventListener('click', () => enviar('abrir', { url: estado.links.site }));
  $('btnConfig').addEventListener('click', () => {
    enviar('config');
    abrirModal();
  });

  $('principal').addEventListener('click', () => {
    if ($('principal').disabled) return;
    if (estado.fase === 'baixando') enviar('cancelar');
    else if (estado.fase === 'pronto') enviar('jogar');
    else enviar('atualizar');
  });

  const local = $('vLocalTxt');
  const escolherPasta = () => { if (!ocupado()) enviar('escolherPasta'); };
  local.addEventListener('click', escolherPasta);
  local.addEventListener('keydown', (e) => {
    if (e.key === 'Enter' || e.key === ' ') {
      e.preventDefault();
      escolherPasta();
    }
  });

  // The window has no system title bar: the header and the logo area move it.
  const arrastavel = (e) => {
    if (e.button !== 0 || e.target.closest('button, select, input, [role="button"]')) return;
    enviar('arrastar');
  };
  $('topo').addEventListener('mousedown', arrastavel);
  $('centro').addEventListener('mousedown', arrastavel);

  // No browser menus, zoom or stray drags of pictures in a desktop window.
  document.addEventListener('contextmenu', (e) => e.preventDefault());
  document.addEventListener('dragstart', (e) => e.preventDefault());

  // ---- Background --------------------------------------------------------

  const ceu = $('ceu');
  const ctx = ceu.getContext('2d');
  const video = $('video');
  const reduzir = window.matchMedia('(prefers-reduced-motion: reduce)');
  const brasas = Array.from({ length: 90 }, () => ({
    x: Math.random(),
    y: Math.random(),
    v: 0.0004 + Math.random() * 0.0012,
    r: 0.6 + Math.random() * 1.8,
    f: Math.random() * 6,
  }));
  let t = 0;
  let quadro = 0;
  let largura = 0;
  let altura = 0;
  let comVideo = false;

  function ajustarCeu() {
    const dpr = window.devicePixelRatio || 1;
    largura = window.innerWidth;
    altura = window.innerHeight;
    ceu.width = Math.round(largura * dpr);
    ceu.height = Math.round(altura * dpr);
    ctx.setTransform(dpr, 0, 0, dpr, 0, 0);
  }

  function pintar(mover) {
    const w = largura;
    const h = altura;
    if (mover) t += 0.004;

    const ceuGrad = ctx.createLinearGradient(0, 0, 0, h);
    ceuGrad.addColorStop(0, '#120d09');
    ceuGrad.addColorStop(0.55, '#2a1a0e');
    ceuGrad.addColorStop(1, '#050403');
    ctx.fillStyle = ceuGrad;
    ctx.fillRect(0, 0, w, h);

    const cx = w * (0.5 + Math.sin(t) * 0.04);
    const cy = h * 0.42;
    const brilho = ctx.createRadialGradient(cx, cy, 0, cx, cy, w * 0.55);
    brilho.addColorStop(0, 'rgba(216,150,70,.28)');
    brilho.addColorStop(1, 'rgba(216,150,70,0)');
    ctx.fillStyle = brilho;
    ctx.fillRect(0, 0, w, h);

    ctx.fillStyle = '#0a0806';
    ctx.beginPath();
    ctx.moveTo(0, h);
    for (let x = 0; x <= w + 20; x += 20) {
      ctx.lineTo(x, h * (0.78 + 0.05 * Math.sin(0.006 * x + 1.3) + 0.015 * Math.sin(0.017 * x)));
    }
    ctx.lineTo(w + 20, h);
    ctx.closePath();
    ctx.fill();

    for (const b of brasas) {
      if (mover) {
        b.y -= b.v;
        b.x += Math.sin(3 * t + b.f) * 0.0004;
        if (b.y < -0.02) {
          b.y = 1.02;
          b.x = Math.random();
        }
      }
      const a = Math.max(0, 0.35 + 0.35 * Math.sin(5 * t + b.f));
      ctx.fillStyle = `rgba(255,${Math.round(150 + 15 * b.f)},70,${a.toFixed(3)})`;
      ctx.beginPath();
      ctx.arc(b.x * w, b.y * h, b.r, 0, Math.PI * 2);
      ctx.fill();
    }
  }

  function passo() {
    quadro = 0;
    pintar(true);
    agendar();
  }

  function agendar() {
    if (quadro || comVideo || document.hidden || reduzir.matches) return;
    quadro = requestAnimationFrame(passo);
  }

  function parar() {
    if (quadro) cancelAnimationFrame(quadro);
    quadro = 0;
  }

  // With reduced motion the scene is one still frame; otherwise it runs while visible.
  function retomar() {
    parar();
    if (comVideo) return;
    if (reduzir.matches) pintar(false);
    else agendar();
  }

  window.addEventListener('resize', () => {
    ajustarCeu();
    if (!comVideo) pintar(false);
  });
  document.addEventListener('visibilitychange', () => {
    if (document.hidden) parar();
    else retomar();
  });
  reduzir.addEventListener('change', retomar);

  // The video is optional; the canvas stays until the file proves it can play.
  video.addEventListener('canplay', () => {
    comVideo = true;
    video.hidden = false;
    ceu.hidden = true;
    parar();
    video.play().catch(() => {});
  });
  video.addEventListener('error', () => {
    if (comVideo) {
      comVideo = false;
      video.hidden = true;
      ceu.hidden = false;
      retomar();
    }
  });

  ajustarCeu();
  pintar(false);
  retomar();

  // ---- Start ------------------------------------------------------------

  if (ponte) {
    ponte.addEventListener('message', (e) => receber(e.data));
    enviar('pronto');
  } else {
    // Opened outside the launcher: show what a download looks like.
    receber({ tipo: 'inicio', canais: [{ id: 'oficial', nome: 'Oficial' }, { id: 'teste', nome: 'Teste' }], canal: 0 });
    receber({
      tipo: 'estado', fase: 'baixando', texto: 'Atualizando 1/82',
      atual: 1, total: 82, bytes: 64900000, bytesTotal: 573200000, velocidade: 8800000,
    });
  }
})();
