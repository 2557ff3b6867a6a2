#version 450
layout(location = 0) in vec3 vNormal;
layout(location = 1) in vec2 vUv;
layout(location = 2) in vec3 vToLight;
layout(set = 0, binding = 1) uniform Wall {
    vec3 stone;
    vec3 mortar;
    vec3 light;
    vec2 size;
    vec2 border;      // half of the mortar's width over the size
};
layout(location = 0) out vec4 colour;

void main() {
    vec2 p = vUv / size;
    vec2 cell = fract(vec2(p.x + 0.5 * mod(floor(p.y), 2.0), p.y));
    vec2 onBrick = step(border, cell) * step(cell, 1.0 - border);
    vec3 base = mix(mortar, stone, onBrick.x * onBrick.y);
    colour = vec4(light * base * max(dot(normalize(vNormal), normalize(vToLight)), 0.0), 1.0);
}
