// The boxes on the canvas. A module box has the size the registry gives it and
// its ports where its descriptor puts them; sources are small boxes with one output.
import React, { useEffect, useState } from 'react';
import { Handle, Position } from '@xyflow/react';

export const SCALE = 1.8;
const HEADER = 22;

function portClass(type) {
  return `port port-${type || 'none'}`;
}

// A module's port: image ports square, on/off diamonds, controllers round.
function Port({ port, nodeId }) {
  const [x, y, w, h] = port.rect;
  const input = port.direction === 'input';
  const size = Math.max(10, Math.min(w, h) * SCALE);
  return (
    <>
      <Handle
        type={input ? 'target' : 'source'}
        position={input ? Position.Left : Position.Right}
        id={`${input ? 'in' : 'out'}-${port.index}`}
        className={portClass(port.type)}
        data-port-type={port.type}
        data-testid={`port-${nodeId}-${input ? 'in' : 'out'}-${port.index}`}
        title={`${port.longName} (${port.shortName}), ${port.type}`}
        style={{ left: x * SCALE, top: HEADER + y * SCALE, width: size, height: size, transform: 'none', right: 'auto' }}
      />
      <span
        className={`port-label ${input ? 'in' : 'out'}`}
        style={input ? { left: x * SCALE + size + 3, top: HEADER + y * SCALE - 1 } : { right: 4, top: HEADER + y * SCALE + size + 1 }}
        title={port.longName}
      >
        {port.shortName}
      </span>
    </>
  );
}

function boxSize(module) {
  if (module.box) return [module.box[0], module.box[1]];
  // Unlisted: no registry box; wide and high enough for its ports.
  let w = 96, h = 40;
  for (const port of module.ports) {
    w = Math.max(w, port.rect[0] + port.rect[2] + 5);
    h = Math.max(h, port.rect[1] + port.rect[3] + 5);
  }
  return [w, h];
}

function Header({ data, children }) {
  return (
    <div className={`node-header ${data.previewed ? 'previewed' : ''}`}>
      <span className="node-title" title={data.title}>{data.label}</span>
      <span className="node-buttons">
        {children}
        {data.outputType === 'image' && (
          <button className="nodrag icon" title="Preview this node's picture" onClick={() => data.onPreview(data.id)}>
            <svg width="12" height="9" viewBox="0 0 12 9" aria-hidden="true">
              <path d="M0.5 4.5 C3 0.5 9 0.5 11.5 4.5 C9 8.5 3 8.5 0.5 4.5 Z" fill="none" stroke="currentColor" />
              <circle cx="6" cy="4.5" r="1.8" fill="currentColor" />
            </svg>
          </button>
        )}
        <button className="nodrag icon" title="Remove" onClick={() => data.onRemove(data.id)}>
          ×
        </button>
      </span>
    </div>
  );
}

export function ModuleNode({ data }) {
  const module = data.module;
  const [w, h] = boxSize(module);
  return (
    <div className="module-node" data-testid={`node-${data.id}`} style={{ width: w * SCALE, height: HEADER + h * SCALE }}>
      <Header data={data}>
        {data.isOutput ? (
          <span className="badge" title="The patch's output">out</span>
        ) : (
          <button className="nodrag icon" title="Make this the patch's output" onClick={() => data.onOutput(data.id)}>◎</button>
        )}
        {module.hasPanel && (
          <button className="nodrag" title="Settings panel" data-testid={`panel-${data.id}`} onClick={() => data.onPanel(data.id)}>
            ⚙
          </button>
        )}
      </Header>
      {module.ports.map((port) => (
        <Port key={port.index} port={port} nodeId={data.id} />
      ))}
    </div>
  );
}

// Edits a text value, committed on Enter or when the field loses focus.
function CommitField({ value, onCommit, className, placeholder, testid, list }) {
  const [text, setText] = useState(value);
  useEffect(() => setText(value), [value]);
  return (
    <input
      className={`nodrag ${className || ''}`}
      value={text}
      placeholder={placeholder}
      list={list}
      data-testid={testid}
      onChange={(e) => setText(e.target.value)}
      onKeyDown={(e) => e.key === 'Enter' && e.currentTarget.blur()}
      onBlur={() => text !== value && onCommit(text)}
    />
  );
}

function SourceOutput({ type, id }) {
  return (
    <Handle
      type="source"
      position={Position.Right}
      id="out"
      className={portClass(type)}
      data-port-type={type}
      data-testid={`port-${id}-out`}
      title={`Output, ${type}`}
      style={{ top: 32 }}
    />
  );
}

export function SourceNode({ data }) {
  const node = data.node;
  let body = null;
  if (node.kind === 'still') {
    body = (
      <CommitField value={node.path || ''} placeholder="picture.png" testid={`path-${data.id}`} list="studio-pictures"
                   onCommit={(path) => data.onUpdate(data.id, { path })} />
    );
  } else if (node.kind === 'control') {
    const number = Number(node.value);
    const isNumber = node.value !== '' && Number.isFinite(number);
    body = (
      <>
        <CommitField value={node.value} placeholder="0.5 or 0.5+0.5*sin(t)" testid={`value-${data.id}`}
                     onCommit={(value) => data.onUpdate(data.id, { value })} />
        <input
          type="range" min="0" max="1" step="0.01" className="nodrag nowheel"
          disabled={!isNumber}
          title={isNumber ? 'Constant value' : 'A time expression: type a number to use the slider'}
          value={isNumber ? Math.min(1, Math.max(0, number)) : 0}
          onChange={(e) => data.onUpdate(data.id, { value: e.target.value })}
        />
      </>
    );
  } else if (node.kind === 'on-off') {
    body = (
      <label className="nodrag">
        <input type="checkbox" checked={!!node.on} onChange={(e) => data.onUpdate(data.id, { on: e.target.checked })} />
        {node.on ? 'On' : 'Off'}
      </label>
    );
  } else if (node.kind === 'test-scene') {
    body = <span className="hint">animated test picture</span>;
  } else if (node.path) {
    body = (
      <CommitField value={node.path} placeholder="clip.mp4 or frame%04d.png" testid={`path-${data.id}`}
                   onCommit={(path) => data.onUpdate(data.id, { path })} />
    );
  } else {
    body = <span className="hint">frames fed by render</span>;
  }
  return (
    <div className={`source-node source-${node.kind}`} data-testid={`node-${data.id}`}>
      <Header data={data} />
      <div className="source-body">{body}</div>
      <SourceOutput type={data.outputType} id={data.id} />
    </div>
  );
}

export const nodeTypes = { module: ModuleNode, source: SourceNode };
