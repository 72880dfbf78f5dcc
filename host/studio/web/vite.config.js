import { defineConfig } from 'vite';
import react from '@vitejs/plugin-react';

// The page is served by `tessivo studio` from any path depth; assets are relative.
export default defineConfig({
  plugins: [react()],
  base: './',
  build: { chunkSizeWarningLimit: 1000 },
  server: { proxy: { '/api': 'http://127.0.0.1:8765' } },
});
