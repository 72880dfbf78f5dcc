// A module's settings panel as the module built it: every control at its own
// coordinates. Buttons send the edited values and the pressed item to the
// module, which decides (its own dialog check included) what happens.
import React, { useState } from 'react';

const PANEL_SCALE = 1.5;

function hex(rgb) {
  return `#${(rgb & 0xffffff).toString(16).padStart(6, '0')}`;
}

export default function Panel({ panel, message, onButton, busy }) {
  const [values, setValues] = useState(() => {
    const initial = {};
    for (const control of panel.controls) {
      if (!control.editable) continue;
      if (control.kind === 'colour button') initial[control.index] = hex(control.value);
      else initial[control.index] = String(control.value);
    }
    return initial;
  });
  const set = (index, value) => setValues((old) => ({ ...old, [index]: value }));
  const press = (item) =>
    onButton(
      Object.entries(values).map(([index, value]) => ({ index: Number(index), value })),
      item,
    );

  const width = Math.max(panel.dialog.width, 120) * PANEL_SCALE;
  const height = Math.max(panel.dialog.height, 60) * PANEL_SCALE;
  return (
    <div className="modal-backdrop">
      <div className="panel-dialog" role="dialog" aria-label={panel.title} data-testid="panel-dialog">
        <div className="panel-title">{panel.title}</div>
        <div className="panel-surface" style={{ width, height }}>
          {panel.controls.map((control) => {
            const [x, y, w, h] = control.rect;
            const style = { left: x * PANEL_SCALE, top: y * PANEL_SCALE, width: w * PANEL_SCALE, height: h * PANEL_SCALE };
            const label = control.caption || control.text || `control ${control.index + 1}`;
            const testid = `control-${control.index}`;
            switch (control.kind) {
              case 'static text':
                return <span key={control.index} className="pc pc-text" style={style}>{control.text}</span>;
              case 'popup':
                return (
                  <select key={control.index} className="pc" style={style} aria-label={label} data-testid={testid}
                          value={values[control.index]} onChange={(e) => set(control.index, e.target.value)}>
                    {control.entries.map((entry) => (
                      <option key={entry.value} value={String(entry.value)}>{entry.label}</option>
                    ))}
                  </select>
                );
              case 'check box':
                return (
                  <label key={control.index} className="pc pc-check" style={style}>
                    <input type="checkbox" aria-label={label} data-testid={testid} checked={values[control.index] === '1'}
                           onChange={(e) => set(control.index, e.target.checked ? '1' : '0')} />
                    {control.text}
                  </label>
                );
              case 'number field':
                return (
                  <input key={control.index} className="pc" style={style} type="number" aria-label={label} data-testid={testid}
                         min={control.minimum} max={control.maximum} value={values[control.index]}
                         onChange={(e) => set(control.index, e.target.value)} />
                );
              case 'colour button':
                return (
                  <input key={control.index} className="pc" style={style} type="color" aria-label={label} data-testid={testid}
                         title={control.text} value={values[control.index]}
                         onChange={(e) => set(control.index, e.target.value)} />
                );
              case 'button':
                return (
                  <button key={control.index} className="pc" style={style} disabled={busy} data-testid={`button-${control.text}`}
                          onClick={() => press(control.item)}>
                    {control.text}
                  </button>
                );
              default:
                return null;
            }
          })}
        </div>
        {message && <div className="panel-message" role="alert">{message}</div>}
      </div>
    </div>
  );
}
