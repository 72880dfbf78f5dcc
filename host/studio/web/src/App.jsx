// The studio page: palette, patch canvas, preview with transport, file bar.
// Everything it shows comes from the server; it computes no effect itself.
import React, { useCallback, useEffect, useMemo, useState } from 'react';
import { Background, Controls, ReactFlow, useEdgesState, useNodesState, useReactFlow } from '@xyflow/react';
import { api, ConnectionLost } from './api.js';
import PreviewPane from './PreviewPane.jsx';
import { nodeTypes } from './nodes.jsx';
import Panel from './Panel.jsx';

const SOURCE_TYPES = { 'test-scene': 'image', still: 'image', video: 'image', 'image-sequence': 'image', control: 'control', 'on-off': 'on-off' };

function moduleOutput(module) {
  const outputs = module ? module.ports.filter((p) => p.direction === 'output') : [];
  return outputs.length ? outputs[outputs.length - 1] : null;
}

export default function App() {
  const [palette, setPalette] = useState(null);
  const [doc, setDoc] = useState(null);
  const [error, setError] = useState(null);
  const [lost, setLost] = useState(null);
  const [previewId, setPreviewId] = useState(null);
  const [panel, setPanel] = useState(null);
  const [panelBusy, setPanelBusy] = useState(false);
  const [fileName, setFileName] = useState('');
  const [version, setVersion] = useState(0);
  const [nodes, setNodes, onNodesChange] = useNodesState([]);
  const [edges, setEdges, onEdgesChange] = useEdgesState([]);
  const { screenToFlowPosition, fitView } = useReactFlow();

  const report = useCallback((e) => {
    if (e instanceof ConnectionLost) setLost(e.message);
    else setError(e.message);
  }, []);

  const adopt = useCallback((state) => {
    if (!state || !state.patch) return;
    setDoc(state);
    setVersion((v) => v + 1);
    setLost(null);
  }, []);

  const run = useCallback(
    async (promise) => {
      try {
        const state = await promise;
        adopt(state);
        return state;
      } catch (e) {
        report(e);
        return null;
      }
    },
    [adopt, report],
  );

  // Start: the palette and the document as the server holds it.
  useEffect(() => {
    (async () => {
      try {
        setPalette(await api.palette());
        const state = await api.state();
        adopt(state);
        setFileName(state.file || 'patch.json');
      } catch (e) {
        report(e);
      }
    })();
  }, [adopt, report]);

  // A server that went away is noticed even while nothing is asked of it.
  useEffect(() => {
    if (lost) return undefined;
    const timer = setInterval(() => {
      api.state().catch((e) => {
        if (e instanceof ConnectionLost) setLost(e.message);
      });
    }, 3000);
    return () => clearInterval(timer);
  }, [lost]);

  // A lost connection is retried until the server answers again.
  useEffect(() => {
    if (!lost) return undefined;
    const timer = setInterval(async () => {
      try {
        if (!palette) setPalette(await api.palette());
        adopt(await api.state());
      } catch {
        /* still lost */
      }
    }, 2000);
    return () => clearInterval(timer);
  }, [lost, adopt, palette]);

  // Never lose unsaved work to a closed tab.
  useEffect(() => {
    const guard = (e) => {
      if (doc && doc.dirty) {
        e.preventDefault();
        e.returnValue = '';
      }
    };
    window.addEventListener('beforeunload', guard);
    document.title = `${doc && doc.dirty ? '• ' : ''}Tessivo studio — ${(doc && doc.file) || 'untitled'}`;
    return () => window.removeEventListener('beforeunload', guard);
  }, [doc]);

  // Pictures beside the patch, offered for stills.
  const [pictures, setPictures] = useState([]);
  useEffect(() => {
    api.pictures().then(setPictures, () => {});
  }, [version]);

  const modules = useMemo(() => {
    const map = {};
    if (palette) for (const m of palette.modules) map[m.code] = m;
    return map;
  }, [palette]);

  const outputTypeOf = useCallback(
    (node) => (node.kind === 'module' ? (moduleOutput(modules[node.module]) || {}).type : SOURCE_TYPES[node.kind]),
    [modules],
  );

  const callbacks = useMemo(
    () => ({
      onPreview: (id) => setPreviewId(id),
      onRemove: (id) => run(api.removeNode(id)),
      onUpdate: (id, changes) => run(api.updateNode(id, changes)),
      onPanel: async (id) => {
        try {
          setPanel({ id, data: await api.panel(id), message: null, key: Date.now() });
        } catch (e) {
          report(e);
        }
      },
      onOutput: (id) => run(api.setOutput(id)),
    }),
    [run, report],
  );

  // The canvas follows the document.
  useEffect(() => {
    if (!doc || !palette) return;
    const patch = doc.patch;
    setNodes((old) => {
      const selected = new Set(old.filter((n) => n.selected).map((n) => n.id));
      return patch.nodes.map((node, i) => {
        const module = node.kind === 'module' ? modules[node.module] : null;
        const position = node.position ? { x: node.position[0], y: node.position[1] } : { x: 40 + 220 * (i % 4), y: 40 + 160 * Math.floor(i / 4) };
        return {
          id: node.id,
          type: node.kind === 'module' ? 'module' : 'source',
          position,
          selected: selected.has(node.id),
          data: {
            ...callbacks,
            id: node.id,
            node,
            module: module || { code: node.module, name: node.module, ports: [], box: null, hasPanel: false },
            label: module ? (node.id === module.code ? module.name : `${module.name} · ${node.id}`) : node.id,
            title: module ? `${module.name} (${module.code})` : node.kind,
            outputType: outputTypeOf(node),
            previewed: node.id === previewId,
            isOutput: doc.output === node.id,
          },
        };
      });
    });
    setEdges(
      patch.wires.map((wire) => {
        const from = patch.nodes.find((n) => n.id === wire.from);
        const index = doc.ports[wire.to] ? doc.ports[wire.to][wire.port] : undefined;
        const out = from && from.kind === 'module' ? moduleOutput(modules[from.module]) : null;
        return {
          id: `${wire.from}->${wire.to}:${wire.port}`,
          source: wire.from,
          sourceHandle: from && from.kind === 'module' ? `out-${out ? out.index : 0}` : 'out',
          target: wire.to,
          targetHandle: `in-${index}`,
          className: `wire wire-${from ? outputTypeOf(from) : 'none'}`,
          data: { to: wire.to, port: wire.port },
        };
      }),
    );
  }, [doc, palette, modules, previewId, callbacks, outputTypeOf, setNodes, setEdges]);

  // The preview follows the output node until the person picks another.
  useEffect(() => {
    if (!doc) return;
    const exists = previewId && doc.patch.nodes.some((n) => n.id === previewId);
    if (!exists) setPreviewId(doc.output || null);
  }, [doc, previewId]);

  const handleType = useCallback(
    (nodeId, handleId) => {
      const node = doc && doc.patch.nodes.find((n) => n.id === nodeId);
      if (!node) return null;
      if (node.kind !== 'module') return SOURCE_TYPES[node.kind];
      const module = modules[node.module];
      const index = Number(String(handleId).split('-')[1]);
      const port = module && module.ports.find((p) => p.index === index);
      return port ? port.type : null;
    },
    [doc, modules],
  );

  const isValidConnection = useCallback(
    (c) => c.source !== c.target && handleType(c.source, c.sourceHandle) === handleType(c.target, c.targetHandle),
    [handleType],
  );

  const onConnect = useCallback(
    (c) => run(api.connect(c.source, c.target, Number(String(c.targetHandle).split('-')[1]))),
    [run],
  );

  const onEdgesDelete = useCallback(
    async (removed) => {
      for (const edge of removed) await run(api.disconnect(edge.data.to, edge.data.port));
    },
    [run],
  );

  const onNodesDelete = useCallback(
    async (removed) => {
      for (const node of removed) await run(api.removeNode(node.id));
    },
    [run],
  );

  const onNodeDragStop = useCallback(
    (_, node) => {
      api.updateNode(node.id, { position: [Math.round(node.position.x), Math.round(node.position.y)] }).then(adopt, report);
    },
    [adopt, report],
  );

  const addNode = useCallback(
    async (item, position) => {
      const request = { kind: item.kind, position: [Math.round(position.x), Math.round(position.y)] };
      if (item.kind === 'module') request.module = item.code;
      if (item.kind === 'still') {
        const path = window.prompt('Picture file, relative to the patch folder:', 'picture.png');
        if (!path) return;
        request.path = path;
      }
      if (item.kind === 'video') {
        const path = window.prompt('Video file, or image sequence such as frame%04d.png, relative to the patch folder:',
                                   'clip.mp4');
        if (!path) return;
        request.path = path;
      }
      const state = await run(api.addNode(request));
      if (state && state.added) {
        const added = state.patch.nodes.find((n) => n.id === state.added);
        if (added && outputTypeOf(added) === 'image' && !previewId) setPreviewId(state.added);
      }
    },
    [run, outputTypeOf, previewId],
  );

  const onDrop = useCallback(
    (e) => {
      e.preventDefault();
      const text = e.dataTransfer.getData('application/x-tessivo');
      if (!text) return;
      addNode(JSON.parse(text), screenToFlowPosition({ x: e.clientX, y: e.clientY }));
    },
    [addNode, screenToFlowPosition],
  );

  const confirmDiscard = () => !(doc && doc.dirty) || window.confirm('The patch has unsaved changes. Discard them?');

  const answerPanel = async (values, item) => {
    const current = panel;
    setPanelBusy(true);
    try {
      const answer = await api.answerPanel(current.id, values, item);
      if (answer.accepted) {
        setPanel(null);
        adopt(answer.state);
      } else if (answer.panel) {
        setPanel({ id: current.id, data: answer.panel, message: answer.message || null, key: Date.now() });
      } else {
        setPanel(null);
      }
    } catch (e) {
      if (e instanceof ConnectionLost) report(e);
      setPanel({ ...current, message: e.message });
    } finally {
      setPanelBusy(false);
    }
  };

  return (
    <div className="studio">
      <header className="toolbar">
        <strong>Tessivo studio</strong>
        <input className="file-name" aria-label="Patch file" data-testid="file-name" value={fileName}
               onChange={(e) => setFileName(e.target.value)} />
        <button data-testid="save" onClick={async () => { const s = await run(api.save(fileName)); if (s) setFileName(s.file); }}>Save</button>
        <button data-testid="load" onClick={async () => {
          if (!confirmDiscard()) return;
          // A loaded patch is shown whole, wherever its nodes were placed.
          if (await run(api.load(fileName))) setTimeout(() => fitView({ padding: 0.2, maxZoom: 1 }), 50);
        }}>Load</button>
        <button data-testid="new" onClick={() => confirmDiscard() && run(api.newPatch())}>New</button>
        <span className="doc-status" data-testid="doc-status" data-version={version}>
          {doc ? `${doc.file || 'untitled'}${doc.dirty ? ' — unsaved changes' : ' — saved'}` : 'connecting…'}
        </span>
      </header>
      {lost && <div className="banner lost" role="alert" data-testid="lost">{lost}. Retrying…</div>}
      {error && (
        <div className="banner error" role="alert" data-testid="error">
          {error}
          <button className="icon" onClick={() => setError(null)} title="Dismiss">×</button>
        </div>
      )}
      <div className="main">
        <aside className="palette" data-testid="palette">
          <h3>Sources</h3>
          {palette && palette.sources.map((source) => (
            <div key={source.kind} className={`palette-item port-type-${source.type}`} draggable data-testid={`palette-${source.kind}`}
                 onDragStart={(e) => e.dataTransfer.setData('application/x-tessivo', JSON.stringify({ kind: source.kind }))}
                 onDoubleClick={() => addNode({ kind: source.kind }, { x: 60, y: 60 })}>
              {source.name}
            </div>
          ))}
          <h3>Modules</h3>
          {palette && palette.modules.map((module) => (
            <div key={module.code} className="palette-item" draggable data-testid={`palette-${module.code}`}
                 title={module.ports.map((p) => `${p.direction} ${p.longName} (${p.shortName}) ${p.type}`).join('\n')}
                 onDragStart={(e) => e.dataTransfer.setData('application/x-tessivo', JSON.stringify({ kind: 'module', code: module.code }))}
                 onDoubleClick={() => addNode({ kind: 'module', code: module.code }, { x: 300, y: 60 })}>
              <span>{module.name}</span> <code>{module.code}</code>
              <small>{module.box ? `${module.box[0]}×${module.box[1]}` : 'not listed'}{module.hasPanel ? ' · panel' : ''}</small>
            </div>
          ))}
        </aside>
        <div className="canvas" onDragOver={(e) => e.preventDefault()} onDrop={onDrop} data-testid="canvas">
          <ReactFlow
            nodes={nodes}
            edges={edges}
            nodeTypes={nodeTypes}
            onNodesChange={onNodesChange}
            onEdgesChange={onEdgesChange}
            onConnect={onConnect}
            onEdgesDelete={onEdgesDelete}
            onNodesDelete={onNodesDelete}
            onNodeDragStop={onNodeDragStop}
            isValidConnection={isValidConnection}
            deleteKeyCode={['Delete', 'Backspace']}
            fitView={false}
          >
            <Background />
            <Controls />
          </ReactFlow>
        </div>
        <PreviewPane previewId={previewId} version={version} onLost={setLost} />
      </div>
      <datalist id="studio-pictures">
        {pictures.map((name) => <option key={name} value={name} />)}
      </datalist>
      {panel && <Panel key={panel.key} panel={panel.data} message={panel.message} busy={panelBusy} onButton={answerPanel} />}
    </div>
  );
}
