#version 450
layout(location = 0) in vec4 position;
layout(location = 1) in vec3 normal;
layout(location = 2) in vec2 uv;
layout(location = 3) in vec3 toLight;
layout(set = 0, binding = 0) uniform Camera { mat4 modelViewProjection; };
layout(location = 0) out vec3 vNormal;
layout(location = 1) out vec2 vUv;
layout(location = 2) out vec3 vToLight;

void main() {
    vNormal = normal;
    vUv = uv;
    vToLight = toLight;
    gl_Position = modelViewProjection * position;
}
