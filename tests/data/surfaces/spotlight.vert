#version 450
layout(location = 0) in vec3 position;
layout(location = 1) in vec3 normal;
layout(location = 2) in vec2 uv;
layout(set = 0, binding = 0) uniform Camera {
    mat4 modelViewProjection;
    mat4 modelView;
    mat3 normalMatrix;
};
layout(location = 0) out vec3 vPosition;
layout(location = 1) out vec3 vNormal;
layout(location = 2) out vec2 vUv;

void main() {
    vec4 p = vec4(position, 1.0);
    vPosition = (modelView * p).xyz;
    vNormal = normalMatrix * normal;
    vUv = uv;
    gl_Position = modelViewProjection * p;
}
